/* Constants of the data-file service: limits, modes, classes, levels. */
#pragma once

/* --- Limits ------------------------------------------------------------------------------------------- */
#define AIO_MAX_RECORDS 65535u     /* records of a block */
#define AIO_MAX_ENTRIES 65535u     /* entries of a record */
#define AIO_MAX_VALUE_BYTES 65535u /* one value in its buffer, the terminating NUL of a text included */
#define AIO_MAX_CHANNELS 16777216u /* channels of one spectrum (2^24) */
#define AIO_MAX_GROUPS 65535u      /* groups of a spectral block; rows of a group likewise */
#define AIO_NAME_LENGTH 56         /* buffer for a parameter's name, NUL included */
#define AIO_DESCRIPTION_LENGTH 256 /* buffer for a parameter's description or full name, NUL included */
#define AIO_UNIT_LENGTH 32         /* buffer for a parameter's unit, NUL included */

/* --- AioOpen2: access ----------------------------------------------------------------------------------- */
#define AIO_READ_ONLY 0u
#define AIO_READ_WRITE 1u

/* --- AioClose2: what becomes of pending changes ---------------------------------------------------------- */
#define AIO_CLOSE_FLUSH 0u
#define AIO_CLOSE_NOFLUSH 1u
#define AIO_CLOSE_DELETE 2u

/* --- Spectral formats ----------------------------------------------------------------------------------- */
#define AIO_FORMAT_LONG 0  /* 32-bit integer per channel */
#define AIO_FORMAT_FLOAT 1 /* 32-bit IEEE 754 single per channel */

/* --- AioFindRecord: kinds of search --------------------------------------------------------------------- */
#define AIO_FIND_NAME 2u   /* key: NUL-terminated text */
#define AIO_FIND_ENERGY 4u /* key: OjEnergy_T */

/* --- Classes: the upper 16 bits of a parameter code ----------------------------------------------------- */
#define ORB_CLS_ACQUISITION 0x2000u /* acquisition, energy and shape calibration in force */
#define ORB_CLS_SAMPLE 0x2001u      /* sample */
#define ORB_CLS_GEOM 0x2002u        /* geometry and efficiency calibration */
#define ORB_CLS_PROC 0x2003u        /* processing settings */
#define ORB_CLS_DISPLAY 0x2004u     /* display */
#define ORB_CLS_SPECTRUM 0x2005u    /* spectral data: created by AioCreatePHA */
#define ORB_CLS_PEAKS 0x2006u       /* peak results, one record a peak */
#define ORB_CLS_NUCLIB 0x2007u      /* nuclide library, one record a line */
#define ORB_CLS_NUCRESULTS 0x2008u  /* identified nuclides, one record a nuclide */
#define ORB_CLS_LIMITS 0x2009u      /* detection limits, one record a nuclide */
#define ORB_CLS_CALRESULTS 0x200Du  /* energy calibration points, one record a point */
#define ORB_CLS_ANALCNTL 0x2010u    /* analysis control; sequence steps, one record a step */
#define ORB_CLS_SHAPECALRES 0x2013u /* shape calibration points, one record a point */
#define ORB_CLS_PTCALIB 0x2029u     /* peak-to-total calibration points, one record a point */

/* --- Levels of a file's structure, for AioDeleteLevel --------------------------------------------------- */
/* A level is a stage of the analysis; it stands on the levels below it. Deleting a level deletes what was derived
   from it too: levels with higher numbers. */
#define AIO_LEVEL_PEAKS 20u    /* ORB_CLS_PEAKS */
#define AIO_LEVEL_NUCLIDES 30u /* ORB_CLS_NUCRESULTS */
#define AIO_LEVEL_LIMITS 40u   /* ORB_CLS_LIMITS */

/* --- Parameter levels: where in its block a parameter lives (AioParamInfo_T, low bits of the flags) ------ */
#define AIO_IN_HEADER 0u /* one value in the block; record and entry numbers of a call are ignored */
#define AIO_IN_RECORD 1u /* one value a record; record 0 is the block's working record; the entry is ignored */
#define AIO_IN_ENTRY 2u  /* one value an entry of a record; entry 0 is the record's working entry */
#define AIO_LEVEL_MASK 3u

/* --- Parameter types ------------------------------------------------------------------------------------- */
#define AIO_T_BOOL 2 /* one byte, 0 or 1 */
#define AIO_T_INT16 3
#define AIO_T_FLAG 6 /* one byte, 0 or 1 */
#define AIO_T_UINT16 7
#define AIO_T_INT32 8
#define AIO_T_INT64 9
#define AIO_T_FLOAT 10
#define AIO_T_TEXT 14
#define AIO_T_NAME 24 /* text that names something: a file, an engine, a nuclide */
#define AIO_T_DOUBLE 27
#define AIO_T_TIME 35   /* date and time: a double holding a VMS time */
#define AIO_T_REAL8 192 /* double that is the result of a computation */
