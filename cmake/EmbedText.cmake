# Writes a C++ source that holds a text file as a string literal.
# Raw string literals are limited in length by some compilers, so every line becomes a literal of its own.
file(READ "${INPUT}" text)
string(REPLACE "\\" "\\\\" text "${text}")
string(REPLACE "\"" "\\\"" text "${text}")
string(REPLACE "\n" "\\n\"\n\"" text "${text}")
file(WRITE "${OUTPUT}" "namespace porb {
extern const char* const kBuiltinDictionary;
const char* const kBuiltinDictionary =
\"${text}\";
}  // namespace porb
")
