/* Every status of the analysis routines: number, name, text. The only place where they are written down;
   docs/status-codes.md is made from it. Numbers are never used again for something else.

   Built like the statuses of the data-file service, with facility 0x62. A routine that meets a status of the service
   hands it on unchanged. */
#pragma once
#include "citypes.h"

#define ANA_STATUS_TABLE(X)                                                                             \
  X(ANA_OK, 0x00000000, "done")                                                                         \
  X(ANA_BADARG, 0x0062000A, "an argument is null or outside its range")                                 \
  X(ANA_NOMEMORY, 0x00620012, "out of memory")                                                          \
  X(ANA_INTERNAL, 0x0062001A, "internal error of the analysis routines")                                \
  X(ANA_NOSPECTRUM, 0x00620022, "the file has no spectrum")                                             \
  X(ANA_BADCOUNTS, 0x0062002A, "the spectrum has counts that are negative or not finite")               \
  X(ANA_EMPTYREGION, 0x00620032, "the region is empty: its last channel lies before its first")         \
  X(ANA_OUTSIDE, 0x0062003A, "the region or channel lies outside the spectrum")                         \
  X(ANA_TOONARROW, 0x00620042, "the region has too few channels for what is to be fitted in it")        \
  X(ANA_NOCOUNTS, 0x0062004A, "the region has no counts")                                               \
  X(ANA_NOENERGYCAL, 0x00620052, "the file has no energy calibration")                                  \
  X(ANA_NOFWHMCAL, 0x0062005A, "the file has no FWHM calibration")                                      \
  X(ANA_NOTAILCAL, 0x00620062, "the file has no low-tail calibration")                                  \
  X(ANA_BADCAL, 0x0062006A, "the calibration is not usable: not finite, or no positive width there")    \
  X(ANA_NOROOT, 0x00620072, "no channel of the spectrum has that energy")                               \
  X(ANA_UNKNOWNKIND, 0x0062007A, "there is no such equation or model")                                  \
  X(ANA_NOEFFICIENCY, 0x00620082, "the file has no efficiency calibration of the selected model")       \
  X(ANA_TOOFEWPOINTS, 0x0062008A, "there are too few usable points for what is to be fitted")           \
  X(ANA_TOOMANYPOINTS, 0x00620092, "there are more points than the routine takes")                      \
  X(ANA_BADPOINT, 0x0062009A, "a point has a value that is not possible: not finite, negative or zero") \
  X(ANA_EQUALPOINTS, 0x006200A2, "too few points have different positions")                             \
  X(ANA_SINGULAR, 0x006200AA, "the points do not determine the equation")                               \
  X(ANA_NOTRISING, 0x006200B2, "the fitted energy does not rise over the whole spectrum")               \
  X(ANA_NOPEAK, 0x006200BA, "there is no peak in the region")                                           \
  X(ANA_NOTCONVERGED, 0x006200C2, "the fit did not come to an end")                                     \
  X(ANA_NOPEAKTABLE, 0x006200CA, "no peaks have been located")                                          \
  X(ANA_BADENERGY, 0x006200D2, "the energy is not a positive number")                                   \
  X(ANA_BADSETTING, 0x006200DA, "a setting of the file has a value that is not possible")               \
  X(ANA_NOPATTERN, 0x006200E2, "the lines of the source are not there, or no energy scale fits them")

/* The statuses as constants: ANA_OK, ANA_BADARG, ... */
enum AnaStatus {
#define ANA_STATUS_ENUMERATOR(name, value, text) name = value,
  ANA_STATUS_TABLE(ANA_STATUS_ENUMERATOR)
#undef ANA_STATUS_ENUMERATOR
};

/* Whether a status says how the data are: done, or what about them stands in the way. Any other says that the routine
   could not do its work, for want of memory or since the file could not be read; it must not be taken for a result. */
static inline int AnaIsAnswer(LONG status) {
  return status == ANA_OK || ((status & 0x00FF0000) == 0x00620000 && status != ANA_NOMEMORY && status != ANA_INTERNAL);
}
