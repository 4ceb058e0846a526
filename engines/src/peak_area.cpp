// Engine "peak area": the non-linear fit of every located line, multiplets together.
#include "anautils.h"
#include "engine.h"

using namespace orbengine;

ORB_ENGINE RunPeakArea(void* handle, USHORT step, void*, void*) {
  return run(handle, step, {ORB_CLS_PEAKS, ORB_CLS_NUCRESULTS, ORB_CLS_LIMITS}, [](File& file) {
    check(lPANolin(file.handle(), 0, 0, 0));
    file.stamp(ORB_CLS_PEAKS, "peak area", ENGINE_VERSION,
               {0x20030005, 0x20030007, 0x20030010, 0x20030013, 0x2003001A, 0x20030026, 0x20030028, 0x2003002A,
                0x2003002B, 0x20030034, 0x20030035, 0x20030036, 0x20030039, 0x2003003E, 0x2003003F, 0x20030046,
                0x20030047, 0x200300C3, 0x200300C4});
  });
}
