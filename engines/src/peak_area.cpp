// Engine "peak area": the non-linear fit of every located line, multiplets together.
#include "anautils.h"
#include "engine.h"

using namespace orbengine;

ORB_ENGINE RunPeakArea(void* handle, USHORT step, void*, void*) {
  return run(handle, step, {ORB_CLS_PEAKS, ORB_CLS_NUCRESULTS, ORB_CLS_LIMITS}, [](File& file) {
    check(lPANolin(file.handle(), 0, 0, 0));
    file.stamp(ORB_CLS_PEAKS, "peak area", ENGINE_VERSION,
               {ORB_F_LOCTHRESH, ORB_L_MAXPEAKS, ORB_L_ONEREGION, ORB_F_ADDSIGNIF, ORB_F_RESIDTHRESH, ORB_L_CONTWIDTH,
                ORB_T_CONTTYPE, ORB_T_TAILMODE, ORB_T_WIDTHMODE, ORB_D_REGIONLEFT, ORB_D_REGIONRIGHT, ORB_D_MULTIDIST,
                ORB_L_MAXADDED, ORB_F_MAXCHISQ, ORB_F_KEEPSIGNIF, ORB_L_FITFIRST, ORB_L_FITLAST, ORB_L_CONTVARIABLE,
                ORB_F_CONTFWHM});
  });
}
