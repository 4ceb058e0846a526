// An engine that does nothing.
#include "engine.h"

ORB_ENGINE RunEmpty(void*, USHORT, void*, void*) {
  return ENG_OK;
}
