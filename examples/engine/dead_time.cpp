// An engine of one's own: works out the dead time from live and real time, and refuses a measurement that was too busy.
#include <engine.h>

ORB_ENGINE RunDeadTime(void* handle, USHORT step, void*, void*) {
  // The blocks in the braces are put back when the body throws.
  return orbengine::run(handle, step, {ORB_CLS_ACQUISITION}, [](orbengine::File& file) {
    const double live_s = file.number(ORB_D_LIVETIME, 0);
    const double real_s = file.number(ORB_D_REALTIME, 0);
    orbengine::require(live_s > 0 && real_s >= live_s, ENG_BADSETTING);

    const double dead_percent = 100 * (1 - live_s / real_s);
    file.set(ORB_D_DEADTIME, dead_percent);
    orbengine::require(dead_percent < 60, ENG_BADSETTING);
  });
}
