// orb explain: a result code or status in words.
#include <charconv>
#include <memory>
#include <string_view>

#include "command.h"
#include "failure.h"
#include "json_output.h"
#include "result_text.h"
#include "terminal_text.h"
#include "usage_error.h"

namespace orb::tool {

namespace {

struct Options {
  std::string code;
  bool json = false;
};

/// A name, or hexadecimal or decimal; a negative number is the same 32 bits with a sign.
std::uint32_t parseCode(const std::string& text) {
  if (const auto named = codeOfName(text)) return *named;
  const bool is_hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const char* const end = text.data() + text.size();
  std::int64_t number = 0;
  const auto read = std::from_chars(text.data() + (is_hex ? 2 : 0), end, number, is_hex ? 16 : 10);
  const bool fits = number >= INT32_MIN && number <= UINT32_MAX && !(is_hex && number < 0);
  if (read.ec != std::errc() || read.ptr != end || !fits) {
    throw UsageError("explain: '" + escapeLine(text) +
                     "' is no code; a code is a number such as 0xE0610032 or a name such as AIO_NOFILE");
  }
  return static_cast<std::uint32_t>(number);
}

Json asJson(std::uint32_t code, const ResultText& found) {
  Json json;
  json["code"] = hex(code, 8);
  json["known"] = found.isKnown();
  json["name"] = found.name;
  json["text"] = found.text;
  json["origin"] = found.origin;
  json["result_code"] = found.isKnown() ? Json(hex(found.result_code, 8)) : Json(nullptr);
  json["status"] = found.hasStatus() ? Json(hex(found.status, 8)) : Json(nullptr);
  return json;
}

int run(const Options& options, Console& console) {
  const std::uint32_t code = parseCode(options.code);
  const ResultText found = explainCode(code);
  if (options.json) printJson(asJson(code, found), console);
  if (!found.isKnown()) console.note(codeInWords(code));
  if (!found.isKnown()) return kFailed;
  if (options.json) return kDone;
  console.line(hex(code, 8) + "  " + found.name);
  console.line("  " + found.text);
  if (found.hasStatus()) {
    console.line("  status " + hex(found.status, 8) + " of the " + found.origin + ", result code " +
                 hex(found.result_code, 8));
  } else {
    console.line("  result code of the " + found.origin);
  }
  return kDone;
}

}  // namespace

void addExplain(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("explain", "Put a result code or a status into words");
  command->add_option("CODE", options->code, "Result code or status: hexadecimal (0x...), decimal, or its name")
      ->required();
  command->add_flag("--json", options->json, "Print JSON");
  command->footer("Exit status 1 for a code that the library does not have.\n\nExample:\n  orb explain 0xE0610032");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
