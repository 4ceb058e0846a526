// A module for the loader tests. It tells when it is unloaded.

namespace {

int* unload_count = nullptr;

struct Farewell {
  ~Farewell() {
    if (unload_count != nullptr) ++*unload_count;
  }
};
const Farewell farewell;

}  // namespace

extern "C" {
__attribute__((visibility("default"))) int sample_answer() {
  return 42;
}
__attribute__((visibility("default"))) void sample_count_unload(int* count) {
  unload_count = count;
}
}
