/* Every status of the data-file service: number, name, text. The only place where they are written down;
   docs/status-codes.md is made from it. Numbers are never used again for something else.

   A status is 32 bits: facility in bits 16..23 (0x61 is this service), severity in bits 0..2 (2 is error).
   0 is success. Two statuses that callers know by number are without a facility. */
#pragma once
#include "citypes.h"

#define AIO_STATUS_TABLE(X)                                                                                       \
  X(AIO_OK, 0x00000000, "done")                                                                                   \
  X(AIO_NOVALUE, 0x0000805A, "the parameter has no value there")                                                  \
  X(AIO_NOBLOCK, 0x00008102, "the file has no block of that class")                                               \
  X(AIO_BADHANDLE, 0x0061000A, "the handle does not name an open file")                                           \
  X(AIO_BADARG, 0x00610012, "an argument is null or outside its range")                                           \
  X(AIO_TOOMANYFILES, 0x0061001A, "too many files are open")                                                      \
  X(AIO_NOMEMORY, 0x00610022, "out of memory")                                                                    \
  X(AIO_INTERNAL, 0x0061002A, "internal error of the data-file service")                                          \
  X(AIO_NOFILE, 0x00610032, "the file does not exist")                                                            \
  X(AIO_FILEEXISTS, 0x0061003A, "a file of that name exists already")                                             \
  X(AIO_NOTREGULAR, 0x00610042, "the path names a directory or a device, not a file")                             \
  X(AIO_NOACCESS, 0x0061004A, "no permission to access the file")                                                 \
  X(AIO_LOCKED, 0x00610052, "another writer has the file open")                                                   \
  X(AIO_BUSY, 0x0061005A, "the file is in use by another process for too long")                                   \
  X(AIO_READONLY, 0x00610062, "the file is open for reading only")                                                \
  X(AIO_DISKFULL, 0x0061006A, "the disk is full")                                                                 \
  X(AIO_IOERROR, 0x00610072, "the disk could not be read or written")                                             \
  X(AIO_EMPTYFILE, 0x0061007A, "the file is empty")                                                               \
  X(AIO_TRUNCATED, 0x00610082, "the file is shorter than it says")                                                \
  X(AIO_NOTADATABASE, 0x0061008A, "the file is not a data file")                                                  \
  X(AIO_FOREIGN, 0x00610092, "the file is a database, but not one of this service")                               \
  X(AIO_NEWERFORMAT, 0x0061009A, "the file was written by a newer version of the service")                        \
  X(AIO_CORRUPT, 0x006100A2, "the file's pages are damaged")                                                      \
  X(AIO_BADCONTENT, 0x006100AA, "the file's rows contradict each other or their checksum")                        \
  X(AIO_NODICTIONARY, 0x006100B2, "the parameter dictionary does not exist or cannot be read")                    \
  X(AIO_BADDICTIONARY, 0x006100BA, "the parameter dictionary has an error")                                       \
  X(AIO_UNKNOWNPARAM, 0x006100C2, "the dictionary has no such parameter")                                         \
  X(AIO_UNKNOWNCLASS, 0x006100CA, "the dictionary has no parameter of that class")                                \
  X(AIO_TYPEMISMATCH, 0x006100D2, "the stored value has another type than the dictionary says")                   \
  X(AIO_BADSIZE, 0x006100DA, "the buffer's size does not fit the parameter")                                      \
  X(AIO_TOOLONG, 0x006100E2, "the text is longer than the parameter allows")                                      \
  X(AIO_OUTOFRANGE, 0x006100EA, "the number does not fit the parameter's storage type")                           \
  X(AIO_BLOCKEXISTS, 0x006100F2, "the file has a block of that class already")                                    \
  X(AIO_NOTPLAINBLOCK, 0x006100FA, "the spectral block is made by AioCreatePHA and holds no values")              \
  X(AIO_BADRECORD, 0x00610102, "there is no such record")                                                         \
  X(AIO_BADENTRY, 0x0061010A, "there is no such entry")                                                           \
  X(AIO_RECORDSFULL, 0x00610112, "the block has as many records as it can hold")                                  \
  X(AIO_ENTRIESFULL, 0x0061011A, "the record has as many entries as it can hold")                                 \
  X(AIO_BADLEVEL, 0x00610122, "there is no such level")                                                           \
  X(AIO_BADCHANNELS, 0x0061012A, "the channels lie outside the spectrum or number more than a spectrum may have") \
  X(AIO_BADSPECTRUM, 0x00610132, "there is no such group or row")                                                 \
  X(AIO_BADFORMAT, 0x0061013A, "there is no such spectral format")                                                \
  X(AIO_NOTFOUND, 0x00610142, "no record matches")                                                                \
  X(AIO_NOMORE, 0x0061014A, "there is no further parameter")                                                      \
  X(AIO_BADNAME, 0x00610152, "a data file cannot have a name that ends in -journal, -wal, -shm, -lock or -new")   \
  X(AIO_LONGPATH, 0x0061015A, "the path of the file is too long")                                                 \
  X(AIO_BADJOURNAL, 0x00610162, "beside the file lies a journal that is not its own or does not fit it")          \
  X(AIO_BADLOCKFILE, 0x0061016A, "what lies in the place of the file's lock is not a lock of this service")       \
  X(AIO_HARDLINKED, 0x00610172, "the file has more than one name (hard links), so it cannot be written safely")   \
  X(AIO_CHANGED, 0x0061017A, "somebody else has written the file since it was opened")                            \
  X(AIO_FORKED, 0x00610182, "the file was opened by the parent process; open it again in this one")               \
  X(AIO_WRITEAHEAD, 0x0061018A, "another program left the file in write-ahead mode, so part of it may lie elsewhere")

/* The statuses as constants: AIO_OK, AIO_NOVALUE, ... */
enum AioStatus {
#define AIO_STATUS_ENUMERATOR(name, value, text) name = value,
  AIO_STATUS_TABLE(AIO_STATUS_ENUMERATOR)
#undef AIO_STATUS_ENUMERATOR
};
