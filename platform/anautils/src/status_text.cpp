#include "anautils.h"

extern "C" const char* AnaStatusText(ULONG status) {
  switch (status) {
#define ANA_STATUS_TEXT(name, value, text) \
  case name:                               \
    return text;
    ANA_STATUS_TABLE(ANA_STATUS_TEXT)
#undef ANA_STATUS_TEXT
    default:
      return AioStatusText(status);
  }
}
