// Engine "peak location": lines by the second difference, between the channels that the settings name.
#include "anautils.h"
#include "engine.h"

using namespace orbengine;

ORB_ENGINE RunPeakLocation(void* handle, USHORT step, void*, void*) {
  return run(handle, step, {ORB_CLS_PEAKS, ORB_CLS_NUCRESULTS, ORB_CLS_LIMITS}, [](File& file) {
    check(AA_2nd_Diff_Peak_Loc(file.handle(), 0, 0, 0));
    file.stamp(
        ORB_CLS_PEAKS, "peak location", ENGINE_VERSION,
        {0x20030005, 0x20030006, 0x20030008, 0x20030009, 0x20030019, 0x2003001B, 0x2003001C, 0x20030020, 0x20030021});
  });
}
