extern "C" {
int function_that_no_library_has();
__attribute__((visibility("default"))) int sample_answer() {
  return function_that_no_library_has();
}
}
