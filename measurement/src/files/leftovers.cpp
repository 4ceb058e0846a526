#include "leftovers.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <mutex>

#include "failure.h"

namespace com::norvale::measurement {

namespace {

/// For the signal handler, which may neither allocate nor lock. A place that is free holds empty names.
using Names = std::array<char[PATH_MAX], 5>;
constexpr std::size_t kPlaces = 256;
std::array<Names, kPlaces> g_leftovers;
std::mutex g_mutex;

bool g_hears_signals = false;
std::atomic<bool> g_is_gentle{false};
std::atomic<bool> g_is_asked{false};
static_assert(std::atomic<bool>::is_always_lock_free);

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

void removeAll(const Names& names) {
  for (const auto& name : names)
    if (name[0] != '\0' && unlink(name) != 0 && errno != ENOENT) rmdir(name);
}

extern "C" void onSignal(int number) {
  if (g_is_gentle && !g_is_asked.exchange(true)) return;
  removeLeftovers();
  std::signal(number, SIG_DFL);
  std::raise(number);
}

bool isFree(const Names& names) {
  return names[0][0] == '\0';
}

void catchSignals() {
  if (!g_hears_signals) return;
  for (const int number : kSignals) std::signal(number, onSignal);
}

/// Once there is nothing to do for a signal.
void releaseSignals() {
  if (!g_hears_signals || g_is_gentle || !std::all_of(g_leftovers.begin(), g_leftovers.end(), isFree)) return;
  for (const int number : kSignals) std::signal(number, SIG_DFL);
}

}  // namespace

void removeLeftoversOnSignals() {
  const std::lock_guard lock(g_mutex);
  g_hears_signals = true;
}

void removeLeftovers() noexcept {
  for (const Names& names : g_leftovers) removeAll(names);
}

Leftovers::Leftovers(const std::vector<std::string>& names) {
  const std::lock_guard lock(g_mutex);
  const auto free = std::find_if(g_leftovers.begin(), g_leftovers.end(), isFree);
  if (free == g_leftovers.end()) throw Failure(names.front(), "too many files are being made at once");
  for (std::size_t i = 0; i < names.size() && i < free->size(); ++i)
    std::snprintf((*free)[i], PATH_MAX, "%s", names[i].c_str());
  catchSignals();
  place_ = static_cast<std::size_t>(free - g_leftovers.begin());
}

Leftovers::~Leftovers() {
  const std::lock_guard lock(g_mutex);
  for (auto& name : g_leftovers[place_]) name[0] = '\0';
  releaseSignals();
}

GentleStop::GentleStop() {
  const std::lock_guard lock(g_mutex);
  g_is_asked = false;
  g_is_gentle = true;
  catchSignals();
}

GentleStop::~GentleStop() {
  const std::lock_guard lock(g_mutex);
  g_is_gentle = false;
  releaseSignals();
}

bool GentleStop::isAsked() const {
  return g_is_asked;
}

void Leftovers::remove() const {
  removeAll(g_leftovers[place_]);
}

std::vector<std::string> namesOfDataFile(const std::string& path) {
  return {path, path + "-lock", path + "-journal"};
}

}  // namespace com::norvale::measurement
