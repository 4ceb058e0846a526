// Engine "peak location": lines by the second difference, between the channels that the settings name.
#include "anautils.h"
#include "engine.h"

using namespace orbengine;

ORB_ENGINE RunPeakLocation(void* handle, USHORT step, void*, void*) {
  return runOnWholeSpectrum(handle, step, {ORB_CLS_PEAKS, ORB_CLS_NUCRESULTS, ORB_CLS_LIMITS}, [](File& file) {
    check(AA_2nd_Diff_Peak_Loc(file.handle(), 0, 0, 0));
    file.stamp(ORB_CLS_PEAKS, "peak location", ENGINE_VERSION,
               {ORB_F_LOCTHRESH, ORB_D_LOCELOW, ORB_L_LOCFIRST, ORB_L_LOCLAST, ORB_L_LOCTWOFILTERS, ORB_F_LOCCUT,
                ORB_F_LOCNARROW, ORB_L_LOCSMOOTH, ORB_F_LOCWIDE});
  });
}
