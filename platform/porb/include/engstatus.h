/* Every status of the analysis engines: number, name, text. The only place where they are written down;
   docs/status-codes.md is made from it. Numbers are never used again for something else.

   Built like the statuses of the data-file service, with facility 0x63; the numbers differ from those of the analysis
   routines too, so that a result code made of a status (convertReturnCode keeps the number alone) is unmistakable. An
   engine that meets a status of the service or of a routine hands it on unchanged. */
#pragma once
#include "citypes.h"

#define ENG_STATUS_TABLE(X)                                                                                           \
  X(ENG_OK, 0x00000000, "done")                                                                                       \
  X(ENG_INTERNAL, 0x0063200A, "internal error of an engine")                                                          \
  X(ENG_NOMEMORY, 0x00632012, "out of memory")                                                                        \
  X(ENG_BADOPTION, 0x0063201A, "an option of the step names no processing setting, or its value is not one")          \
  X(ENG_NOENERGYCAL, 0x00632022, "the file has no energy calibration")                                                \
  X(ENG_BADENERGYCAL, 0x0063202A, "the energy does not rise over the whole spectrum, or is not finite")               \
  X(ENG_NOFWHMCAL, 0x00632032, "the file has no FWHM calibration")                                                    \
  X(ENG_BADFWHMCAL, 0x0063203A, "the FWHM is not positive, less than half a channel or wider than half the spectrum") \
  X(ENG_NOPEAKS, 0x0063204A, "the file has no peak results: peak location and peak area come first")                  \
  X(ENG_NOLIBRARY, 0x00632052, "the nuclide library is not to be found")                                              \
  X(ENG_BADLIBRARY, 0x0063205A, "the nuclide library cannot be opened, or has no usable line")                        \
  X(ENG_BADSETTING, 0x00632062, "a setting of the file has a value that is not possible")                             \
  X(ENG_NOSPECTRUM, 0x0063206A, "the file has no spectrum")                                                           \
  X(ENG_CRASHED, 0x00632072, "the engine crashed its process")

/* The statuses as constants: ENG_OK, ENG_INTERNAL, ... */
enum EngStatus {
#define ENG_STATUS_ENUMERATOR(name, value, text) name = value,
  ENG_STATUS_TABLE(ENG_STATUS_ENUMERATOR)
#undef ENG_STATUS_ENUMERATOR
};
