/* Data files as a whole: open and close, blocks, records, copying, spectra, dictionary, listings.
   Return codes: aiostatus.h. Unless a comment says otherwise:
   - every call is all or nothing: on anything but AIO_OK the file and the outputs are as they were;
   - a null, closed or made-up handle gives AIO_BADHANDLE;
   - any thread may call; calls on one handle wait for each other, different handles never do. */
#pragma once
#include "aiostatus.h"
#include "citypes.h"
#include "comdefs.h"
#include "porb_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Files ------------------------------------------------------------------------------------------------ */

/** Non-zero while the handle names an open file. Takes no lock. */
PORB_EXPORT LONG AioIsOpen(const void* handle);

/** Opens an existing data file. A writer excludes other writers, in every process; readers are always welcome and
 *  see the last flushed state. The environment variable ORBDB names the parameter dictionary of the file.
 *  @param handle  out: the handle; set to null on failure
 *  @param access  AIO_READ_ONLY or AIO_READ_WRITE
 *  @param share, flags  must be 0
 *  A reader changes nothing on disk; a writer also undoes what a dead writer left half done. A file with several hard
 *  links is not opened for writing.
 *  @return AIO_OK; AIO_BADARG; AIO_NOFILE, AIO_NOTREGULAR, AIO_NOACCESS, AIO_BADNAME, AIO_LONGPATH; AIO_LOCKED (second
 *          writer), AIO_BADLOCKFILE, AIO_HARDLINKED; AIO_BUSY; AIO_BADJOURNAL, AIO_WRITEAHEAD; AIO_EMPTYFILE, AIO_TRUNCATED, AIO_NOTADATABASE, AIO_FOREIGN, AIO_NEWERFORMAT, AIO_CORRUPT,
 *          AIO_BADCONTENT; AIO_IOERROR; AIO_NODICTIONARY, AIO_BADDICTIONARY; AIO_TOOMANYFILES, AIO_NOMEMORY */
PORB_EXPORT ULONG AioOpen2(void** handle, const char* path, ULONG access, ULONG share, ULONG flags);

/** Creates a data file without blocks and opens it for writing. An existing file is never touched. The file is there
 *  whole or not at all, also after power loss.
 *  @param size, reserved1..3  must be 0 and null
 *  @return AIO_OK; AIO_FILEEXISTS; AIO_NOFILE (no such directory); otherwise as AioOpen2 */
PORB_EXPORT ULONG AioCreate(void** handle, const char* path, ULONG size, void* reserved1, void* reserved2,
                            void* reserved3);

/** Ends the life of the handle, whatever is returned. When the changes cannot be written their status is returned and
 *  they are gone with the handle; flush first to keep the choice.
 *  @param option  AIO_CLOSE_FLUSH, AIO_CLOSE_NOFLUSH (drops pending changes) or AIO_CLOSE_DELETE (removes the file;
 *                 AIO_READONLY when the handle may not write). Another value gives AIO_BADARG after flushing.
 *  @return AIO_OK; AIO_BADARG; what AioFlush returns */
PORB_EXPORT ULONG AioClose2(void* handle, ULONG option);

/** Writes all pending changes in one transaction: after AIO_OK they survive power loss.
 *  @return AIO_OK (also when nothing is pending); AIO_DISKFULL, AIO_IOERROR, AIO_BUSY, AIO_NOACCESS, AIO_CORRUPT;
 *          AIO_NOFILE (removed or replaced), AIO_HARDLINKED (got a second name), AIO_LOCKED (the lock file was removed
 *          and another writer came), AIO_CHANGED (somebody has written the file: the changes can be copied to another
 *          file, AioDupFile, and no longer be flushed to this one), AIO_FORKED (a child of the process that opened the
 *          file). After a failure the changes are still pending and the call may be tried again. */
PORB_EXPORT ULONG AioFlush(void* handle);

/** A number that changes with every flush of the file, by whomever. It is looked up without reading the content, without
 *  a lock, and without waiting for a writer, so it may be asked for often. A writer that dies in a flush may change it
 *  too.
 *  @param state  out: only worth comparing with what an earlier call answered
 *  @return AIO_OK; AIO_NOFILE (removed or replaced: open it again); AIO_IOERROR; AIO_FORKED */
PORB_EXPORT ULONG AioGetState(void* handle, ULONGLONG* state);

/** Brings a reader's image to the last flushed state, all blocks of it: what is read from then on, until the next such
 *  call, belongs to that one flush and needs no disk. Nothing happens when nothing was flushed since, or for a writer.
 *  @return AIO_OK; AIO_BUSY; AIO_BADCONTENT and what reading the file may give: the image is as it was */
PORB_EXPORT ULONG AioFollow(void* handle);

/** Makes the file a draft for the rest of this handle's life: flushes are still whole or not at all, but keep no
 * journal on disk and do not wait for it, so a crash may leave a file that cannot be opened. For a new file under a
 * name that nobody knows: close it, fsync it, give it its name.
 *  @return AIO_OK; AIO_READONLY; AIO_BUSY, AIO_IOERROR */
PORB_EXPORT ULONG AioMakeDraft(void* handle);

/* ---- A data file put in the place of another --------------------------------------------------------------- */

/** The right to put a file under a name. */
typedef struct AioReservation AioReservation_T;

/** Takes the writer's right for a name, whether a data file lies there or not: until it is released nobody opens a file
 *  of that name for writing or creates one. What a dead writer left half done to such a file is undone.
 *  @param reservation  out: to be released with AioRelease; null on failure
 *  @return AIO_OK; AIO_BADARG; AIO_LOCKED, AIO_BADLOCKFILE; AIO_BADJOURNAL; what AioOpen2 gives for writing */
PORB_EXPORT ULONG AioReserve(const char* path, AioReservation_T** reservation);

/** The path that is reserved, symbolic links resolved: what lies there later is what AioPublish replaces, even when the
 *  path given to AioReserve means another file by then. Valid until AioRelease; null for null. */
PORB_EXPORT const char* AioReservedName(const AioReservation_T* reservation);

/** Brings a closed file to disk and gives it the reserved name. It takes over owner, group, mode and access list of the
 *  file that it replaces. Both lie in one file system.
 *  @param draft    the path that the file has so far
 *  @param replace  whether a file that has the name may go
 *  @return AIO_OK; AIO_BADARG; AIO_NOFILE (no draft); AIO_FILEEXISTS; AIO_NOACCESS, also when the draft cannot be given to
 *          the owner and group of the file that it would replace; AIO_LOCKED; AIO_BADJOURNAL; AIO_DISKFULL, AIO_IOERROR.
 *          On anything but AIO_OK the name stands for what it stood for before. */
PORB_EXPORT ULONG AioPublish(AioReservation_T* reservation, const char* draft, ULONG replace);

/** Gives the right back. Null is no failure. */
PORB_EXPORT void AioRelease(AioReservation_T* reservation);

/* ---- Blocks, records, entries ------------------------------------------------------------------------------ */

/** Adds an empty block. @param size  kept with the block and shown in listings; no bound of any kind
 *  @return AIO_OK; AIO_BLOCKEXISTS; AIO_UNKNOWNCLASS; AIO_NOTPLAINBLOCK (class 0x2005); AIO_READONLY */
PORB_EXPORT ULONG AioCreateBlock(void* handle, USHORT cls, ULONG size);

/** Adds the spectral block (class 0x2005): groups x rows spectra of as many channels each, all zero.
 *  @param groups, rows  1..AIO_MAX_GROUPS; 0 means 1
 *  @param channels      0..AIO_MAX_CHANNELS
 *  @return AIO_OK; AIO_BLOCKEXISTS; AIO_BADCHANNELS; AIO_BADSPECTRUM (groups or rows); AIO_READONLY */
PORB_EXPORT ULONG AioCreatePHA(void* handle, ULONG groups, ULONG channels, ULONG rows);

/** Removes a block with all it holds. @return AIO_OK; AIO_NOBLOCK; AIO_READONLY */
PORB_EXPORT ULONG AioDeleteBlock(void* handle, USHORT cls);

/** Removes what a stage of the analysis left in the file, and what was derived from it: the blocks of this level and
 *  of higher ones (comdefs.h, AIO_LEVEL_...). Blocks that the file does not have are no failure.
 *  @return AIO_OK; AIO_BADLEVEL; AIO_READONLY */
PORB_EXPORT ULONG AioDeleteLevel(void* handle, ULONG level);

/** Inserts an empty record after as many records as `record` says and no further than the end: 0 is the front, a
 *  number past the end appends. @return AIO_OK; AIO_NOBLOCK; AIO_NOTPLAINBLOCK; AIO_RECORDSFULL; AIO_READONLY */
PORB_EXPORT ULONG AioInsertRecord(void* handle, USHORT cls, USHORT record);

/** Inserts an empty entry into a record, after as many entries as `entry` says and no further than the end.
 *  @param record  1..n, or 0 for the working record
 *  @return AIO_OK; AIO_NOBLOCK; AIO_NOTPLAINBLOCK; AIO_BADRECORD; AIO_ENTRIESFULL; AIO_READONLY */
PORB_EXPORT ULONG AioInsertEntry(void* handle, USHORT cls, USHORT record, USHORT entry);

/** Deletes a record (entry 0) or an entry of a record; those behind it move up.
 *  @return AIO_OK; AIO_NOBLOCK; AIO_NOTPLAINBLOCK; AIO_BADRECORD; AIO_BADENTRY; AIO_READONLY */
PORB_EXPORT ULONG AioDelete(void* handle, USHORT cls, USHORT record, USHORT entry);

/** Counts the records of a block (record 0) or the entries of a record.
 *  @param code   not looked at: a record has one set of entries
 *  @param count  out: the number; 0 on failure
 *  @return AIO_OK; AIO_NOBLOCK; AIO_NOTPLAINBLOCK; AIO_BADRECORD */
PORB_EXPORT ULONG AioCount(void* handle, USHORT cls, USHORT record, ULONG code, USHORT* count);

/* ---- Copying between files ----------------------------------------------------------------------------------
   Both handles may belong to one file. Pending changes of the source are copied with it. */

/** Replaces the destination's block of a class by the source's. Both files must have one.
 *  @return AIO_OK; AIO_NOBLOCK (in the source or in the destination); AIO_READONLY (destination) */
PORB_EXPORT ULONG AioCopy(void* source, void* destination, USHORT cls);

/** Replaces the whole content of the destination by the source's. @return AIO_OK; AIO_READONLY (destination) */
PORB_EXPORT ULONG AioDupFile(void* source, void* destination);

/** Copies one record of a class over a record of the destination, or behind its last one (n+1). The source stays as
 *  it is. @return AIO_OK; AIO_NOBLOCK; AIO_NOTPLAINBLOCK; AIO_BADRECORD; AIO_RECORDSFULL; AIO_READONLY (destination) */
PORB_EXPORT ULONG AioMoveRecord(USHORT cls, void* source, USHORT source_record, void* destination,
                                USHORT destination_record);

/** A block as it was at one moment, kept in memory outside any file. */
typedef struct AioKeptBlock AioKeptBlock_T;

/** Keeps a copy of a block with everything that it holds, or the word that the file has no block of the class.
 *  @param kept  out: to be released with AioFreeKeptBlock; null on failure
 *  @return AIO_OK; AIO_BADARG */
PORB_EXPORT ULONG AioKeepBlock(void* handle, USHORT cls, AioKeptBlock_T** kept);

/** Makes a block again what it was when it was kept, in the same file or in another one. The copy stays usable.
 *  @return AIO_OK; AIO_BADARG; AIO_READONLY */
PORB_EXPORT ULONG AioRestoreBlock(void* handle, const AioKeptBlock_T* kept);

/** Releases a copy. Null is no failure. */
PORB_EXPORT void AioFreeKeptBlock(AioKeptBlock_T* kept);

/* ---- Spectra ------------------------------------------------------------------------------------------------
   Channels count from 1. Groups and rows count from 1, and 0 means 1. A spectrum that was never written reads as
   zeros. Integers and floats convert to the nearest, saturating; not-a-number reads as integer 0. */

/** Copies channels into the caller's buffer.
 *  @param buffer    out: room for `channels` elements of 4 bytes; may be null when channels is 0
 *  @param format    AIO_FORMAT_LONG or AIO_FORMAT_FLOAT
 *  @param channels  number of channels wanted; first + channels - 1 must not pass the last channel
 *  @param first     first channel; 0 means 1
 *  @return AIO_OK; AIO_NOBLOCK; AIO_BADCHANNELS; AIO_BADSPECTRUM; AIO_BADFORMAT; AIO_BADARG */
PORB_EXPORT ULONG AioReadSpectrum2(void* handle, void* buffer, LONG format, ULONG channels, ULONG first, ULONG row,
                                   ULONG group);

/** Stores channels; those outside the range keep their contents. A write of all channels makes `format` the stored
 *  form of the spectrum; a part of a spectrum is converted to the form that is stored already.
 *  @return AIO_OK; AIO_READONLY; otherwise as AioReadSpectrum2 */
PORB_EXPORT ULONG AioWriteSpectrum2(void* handle, const void* buffer, LONG format, ULONG channels, ULONG first,
                                    ULONG row, ULONG group);

/* ---- Parameter dictionary -----------------------------------------------------------------------------------
   These take any open handle, or null for the dictionary that ORBDB names at the time of the call. They take no lock.
 */

/** Describes a parameter. Lengths are bytes; the storage length of a text is its characters without the NUL.
 *  @param name         out: AIO_NAME_LENGTH characters    @param description  out: AIO_DESCRIPTION_LENGTH characters
 *  @param block_type   out: 1 the class has header values only, 2 it has records
 *  @return AIO_OK; AIO_UNKNOWNPARAM; AIO_BADHANDLE; AIO_BADARG; AIO_NODICTIONARY, AIO_BADDICTIONARY */
PORB_EXPORT ULONG AioUtilGetPInfo(const void* handle, ULONG code, char* name, char* description, USHORT* flags,
                                  LONG* storage_type, LONG* storage_length, LONG* return_type, LONG* return_length,
                                  LONG* block_type, LONG* device_flags);

/** Looks a parameter up by name, without regard to case, in the dictionary that ORBDB names.
 *  @param full_name  out: AIO_DESCRIPTION_LENGTH characters
 *  @return AIO_OK; AIO_UNKNOWNPARAM; AIO_BADARG; AIO_NODICTIONARY, AIO_BADDICTIONARY */
PORB_EXPORT ULONG AioUtilPname2Code(const char* name, char* full_name, ULONG* code);

/** One parameter of the dictionary. */
typedef struct AioParamInfo_S {
  ULONG ulCode;
  ULONG ulLevel; /* AIO_IN_HEADER, AIO_IN_RECORD, AIO_IN_ENTRY */
  LONG lStorageType;
  LONG lStorageLength;
  LONG lReturnType;
  LONG lReturnLength;
  char szName[AIO_NAME_LENGTH];
  char szUnit[AIO_UNIT_LENGTH];
  char szDescription[AIO_DESCRIPTION_LENGTH];
} AioParamInfo_T;

/** Describes a parameter in one structure, unit and level included. @return as AioUtilGetPInfo */
PORB_EXPORT ULONG AioUtilParamInfo(const void* handle, ULONG code, AioParamInfo_T* info);

/** The type alone in which a parameter's value is handed over, for callers that read many numbers: no texts are copied.
 *  @return as AioUtilGetPInfo */
PORB_EXPORT ULONG AioUtilReturnType(const void* handle, ULONG code, LONG* type);

/** Walks the dictionary in ascending order of codes: the first code greater than `after`.
 *  @return AIO_OK; AIO_NOMORE; AIO_BADHANDLE; AIO_BADARG; AIO_NODICTIONARY, AIO_BADDICTIONARY */
PORB_EXPORT ULONG AioUtilNextParam(const void* handle, ULONG after, ULONG* code);

/** Words for a class: "Peak results"; null for one that this version has no word for. The text is static. */
PORB_EXPORT const char* AioUtilClassName(USHORT cls);

/** Text and name ("AIO_NOVALUE") of a status, or of the result code that was made of it. Static; never null: an
 *  unknown status has the text "unknown status" and an empty name. */
PORB_EXPORT const char* AioStatusText(ULONG status);
PORB_EXPORT const char* AioStatusName(ULONG status);

/* ---- Looking into a file ------------------------------------------------------------------------------------ */

/** One block of a file. */
typedef struct AioBlockInfo_S {
  USHORT usClass;
  USHORT usRecords; /* records of the table, without the working record */
  ULONG ulSize;     /* size given at creation */
  ULONG ulGroups;   /* spectral block: groups, rows and channels; 0 in others */
  ULONG ulRows;
  ULONG ulChannels;
} AioBlockInfo_T;

/** Lists the blocks in ascending order of classes.
 *  @param blocks    out: up to `capacity` of them; may be null when capacity is 0
 *  @param count     out: how many the file has, also when there is room for fewer
 *  @return AIO_OK; AIO_BADARG; what reading the file may give */
PORB_EXPORT ULONG AioListBlocks(void* handle, AioBlockInfo_T* blocks, ULONG capacity, ULONG* count);

/** One value of a record. */
typedef struct AioValueInfo_S {
  ULONG ulCode;
  USHORT usEntry; /* 0: value of the record itself (or of the header, or of the working entry) */
  USHORT usSize;  /* bytes of the value; for a text its characters */
  LONG lType;     /* storage type, as stored */
} AioValueInfo_T;

/** Lists the values of a record, by entry and code; record 0 holds the header values and the working record. A value
 *  that the dictionary does not know is listed too. Arguments and results as AioListBlocks, also AIO_NOBLOCK,
 *  AIO_BADRECORD. The spectral block has no values. */
PORB_EXPORT ULONG AioListValues(void* handle, USHORT cls, USHORT record, AioValueInfo_T* values, ULONG capacity,
                                ULONG* count);

/** One spectrum that was written. */
typedef struct AioSpectrumInfo_S {
  ULONG ulGroup;
  ULONG ulRow;
  LONG lFormat; /* as stored */
} AioSpectrumInfo_T;

/** Lists the spectra that were written, by group and row. Arguments and results as AioListBlocks, also AIO_NOBLOCK. */
PORB_EXPORT ULONG AioListSpectra(void* handle, AioSpectrumInfo_T* spectra, ULONG capacity, ULONG* count);

/** Receives one finding of AioCheck: the class concerned (0: the file as a whole), AIO_OK when that block is whole or
 *  the status that describes the damage, and a sentence. Must not call the service with the same handle. */
typedef void (*AioCheckReport_T)(void* context, USHORT cls, ULONG status, const char* text);

/** Examines the file on disk: pages, rows, checksums, types against the dictionary. Pending changes are not looked at
 *  and stay pending. Reports every block, whole or not, and every damage.
 *  @param report   may be null
 *  @return AIO_OK when the file is whole; otherwise the status of the first damage */
PORB_EXPORT ULONG AioCheck(void* handle, AioCheckReport_T report, void* context);

/** Path of the open file as it was given. @param path  out: NUL-terminated, cut to `capacity`
 *  @param writable  out: 1 for a writer; may be null */
PORB_EXPORT ULONG AioFileInfo(void* handle, char* path, ULONG capacity, FLAG* writable);

/* ---- Calibration equations, as the analysis routines hand them over ------------------------------------------ */

#define ANA_MAX_COEFFICIENTS 6
#define ANA_MAX_EFF_POINTS 80

/** Types of stAEncalEq_T. x: position in channels (from 1) or energy in keV. */
enum AnaEquationType {
  ANA_EQ_POLYNOMIAL = 1, /* c0 + c1 x + c2 x^2 + ... */
  ANA_EQ_SQRT = 2        /* c0 + c1 sqrt(x) */
};

/** An equation in one variable: energy, FWHM or low tail. */
typedef struct stAEncalEq_S {
  USHORT usType; /* AnaEquationType */
  ULONG ulNofC;  /* coefficients in use, 1 to ANA_MAX_COEFFICIENTS */
  REAL rCoeff[ANA_MAX_COEFFICIENTS];
  REAL rLowBound; /* least argument for which the equation holds; a smaller one is raised to it */
  FLAG fLowBound; /* 1: rLowBound counts */
} stAEncalEq_T;

/** Types of stEfEq_T: the model that the file selects. */
enum AnaEfficiencyModel {
  ANA_EFF_DUAL = 1,
  ANA_EFF_LINEAR = 2,
  ANA_EFF_EMPIRICAL = 3,
  ANA_EFF_INTERPOLATED = 4,
  ANA_EFF_AVERAGE = 5,
  ANA_EFF_PEAK_TO_TOTAL = 6
};

/** What every model has: where it holds, and the relative uncertainty that all its values share. */
typedef struct stEfRange_S {
  DOUBLE dLow;       /* [keV] */
  DOUBLE dHigh;      /* [keV] */
  DOUBLE dCommonUnc; /* relative, 0.05 is 5 % */
} stEfRange_T;

/** Two polynomials in ln(E [keV]) for ln(efficiency). Covariances are upper triangles, row by row: 00 01 02 .. 11 12 ..
 */
typedef struct stEfDual_S {
  stEfRange_T sRange;
  DOUBLE dCrossover; /* [keV]; 0: the high polynomial serves all energies */
  USHORT usNofLow;   /* 0 to 4 */
  USHORT usNofHigh;  /* 1 to 6 */
  DOUBLE dLow[4];
  DOUBLE dHigh[6];
  DOUBLE dLowCov[10];  /* triangle of a 4 x 4 matrix */
  DOUBLE dHighCov[21]; /* triangle of a 6 x 6 matrix */
} stEfDual_T;

/** ln(efficiency) = c0 + c1 ln(E). */
typedef struct stEfLinear_S {
  stEfRange_T sRange;
  DOUBLE dCoeff[2];
  DOUBLE dCov[3];
} stEfLinear_T;

/** A polynomial in ln(scale/E) for ln(efficiency). The peak-to-total curve is one too, with a scale of 1 keV. */
typedef struct stEfEmp_S {
  stEfRange_T sRange;
  DOUBLE dScale; /* [keV] */
  USHORT usNofC; /* 1 to 4 */
  DOUBLE dCoeff[4];
  DOUBLE dCov[10];
} stEfEmp_T;

/** One value for all energies. */
typedef struct stEfAvg_S {
  stEfRange_T sRange;
  DOUBLE dMean;
  DOUBLE dUnc; /* standard uncertainty, absolute */
} stEfAvg_T;

/** An efficiency equation. The interpolated model has nothing but its range: its values come from the points. */
typedef struct stEfEq_S {
  USHORT usType; /* AnaEfficiencyModel */
  union {
    stEfRange_T sRange; /* the first member of every block */
    stEfDual_T sDual;
    stEfLinear_T sLinear;
    stEfEmp_T sEmp;
    stEfAvg_T sAvg;
  } u;
} stEfEq_T;

#ifdef __cplusplus
}
#endif
