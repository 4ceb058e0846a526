/* The data-file service, all of it.

   Start here: AioCreate or AioOpen2 give a handle; AioPutParam and AioGetParam move values; AioFlush makes changes
   durable; AioClose2 ends it. A file is a set of blocks, one for each class of parameters. A block has header values
   and a table of records 1..n; a record may have entries 1..m. */
#pragma once
#include "aioproto.h"
#include "aiostatus.h"
#include "citypes.h"
#include "comdefs.h"
#include "get_put.h"
