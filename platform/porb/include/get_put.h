/* Values of a data file: get, put, search. Return codes: aiostatus.h. */
#pragma once
#include "aiostatus.h"
#include "citypes.h"
#include "comdefs.h"
#include "porb_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Key of a search by energy. */
typedef struct OjEnergy_S {
  REAL rEnergy; /* [keV] */
  REAL rToler;  /* [keV]; 0 finds exact matches only */
} OjEnergy_T;

/** Copies a value into the caller's buffer, in the parameter's return type, little-endian.
 *  @param code    parameter; the dictionary says whether it lives in the header, in a record or in an entry
 *  @param record  0 is the working record, 1..n the table; ignored for a header value
 *  @param entry   0 is the working entry, 1..m the entries; ignored for header and record values
 *  @param buffer  out: the value; a text is followed by NULs up to its storage length and one more
 *  @param size    in: bytes of the buffer; out: bytes written
 *  @return AIO_OK; AIO_NOVALUE (never written, or no such block, record or entry); AIO_BADSIZE (buffer too small);
 *          AIO_BADHANDLE, AIO_BADARG, AIO_UNKNOWNPARAM, AIO_TYPEMISMATCH; AIO_BADCONTENT, AIO_CORRUPT, AIO_IOERROR
 *          when the block had to be read from disk. On anything but AIO_OK nothing is written.
 *  @threads any thread; calls on one handle wait for each other, different handles never do
 *  @cost memory access; the first touch of a block reads it from disk */
PORB_EXPORT ULONG AioGetParam(void* handle, ULONG code, USHORT record, USHORT entry, void* buffer, USHORT* size);

/** Reads the numbers of parameters with consecutive codes in one call. A value that was never written, and a text,
 * leave their element as it is, so that the caller may put there what shall hold without one.
 *  @param code    the first parameter
 *  @param values  out: one element for each parameter; exact but for integers beyond 2^53
 *  @param found   out: how many of them were there; may be null
 *  @return AIO_OK; otherwise as AioGetParam, of the first value that cannot be read; those before it are there
 *  @threads as AioGetParam */
PORB_EXPORT ULONG AioGetNumbers(void* handle, ULONG code, USHORT record, USHORT entry, ULONG count, DOUBLE* values,
                                ULONG* found);

/** Stores a value. Creates a missing block; record (or entry) n+1 is appended, one further out is refused.
 *  @param buffer  the value in the parameter's return type; a text ends at its first NUL or at the end of the buffer
 *  @param size    bytes of the buffer: exactly the parameter's length for a number, at most 65535 for a text
 *  @return AIO_OK; AIO_READONLY; AIO_BADSIZE; AIO_TOOLONG (text); AIO_OUTOFRANGE (number against storage type);
 *          AIO_BADRECORD, AIO_BADENTRY (further out than n+1); AIO_RECORDSFULL, AIO_ENTRIESFULL; otherwise as
 *          AioGetParam. On anything but AIO_OK the file is as it was.
 *  @threads as AioGetParam */
PORB_EXPORT ULONG AioPutParam(void* handle, ULONG code, USHORT record, USHORT entry, const void* buffer,
                              const USHORT* size);

/** Finds the first record, at or after `start`, that matches a key. Only the nuclide library (class 0x2007) can be
 *  searched. An energy matches when it differs by no more than the tolerance; a name matches without regard to case
 *  and to blanks and hyphens ("CS137" finds "Cs-137"). The search ends at the last record; it does not wrap.
 *  @param kind    AIO_FIND_ENERGY or AIO_FIND_NAME
 *  @param key     OjEnergy_T or NUL-terminated text
 *  @param record  out: the record found; 0 when none was
 *  @param start   first record looked at; 0 means 1
 *  @return AIO_OK; AIO_NOTFOUND; AIO_NOBLOCK; AIO_BADARG (kind, null key, class, not-a-number or negative tolerance);
 *          AIO_BADRECORD (start past the last record); otherwise as AioGetParam
 *  @threads as AioGetParam */
PORB_EXPORT ULONG AioFindRecord(void* handle, USHORT cls, ULONG kind, const void* key, USHORT* record, USHORT start);

#ifdef __cplusplus
}
#endif
