/* Integer and real types of the platform's C interfaces. Their sizes are the same on every machine. */
#pragma once
#include <stdint.h>

typedef int16_t SHORT;
typedef uint16_t USHORT;
typedef int32_t LONG;
typedef uint32_t ULONG;
typedef uint64_t ULONGLONG;
typedef float REAL;
typedef double DOUBLE;
typedef uint8_t FLAG; /* 0 is false, anything else true */
