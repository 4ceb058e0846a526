/* A library to be preloaded: the n-th allocation of a process fails, once or from then on, wherever it comes from: the
   program, the C++ library, SQLite, the loader of modules.

     ORB_FAIL_ALLOCATION=N      which one, from 1; without it all succeed
     ORB_FAIL_ONWARDS=1         those after it too
     ORB_COUNT_ALLOCATIONS=F    the file F holds the number of allocations at the end of the process

   A process that is made by the one that it was loaded into counts anew. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <stdatomic.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

extern void* __libc_malloc(size_t);
extern void* __libc_calloc(size_t, size_t);
extern void* __libc_realloc(void*, size_t);
extern void* __libc_memalign(size_t, size_t);

static atomic_long allocations;
static atomic_int state; /* 0: the environment is to be read */
static long failing;
static int onwards;

static int fails(void) {
  if (atomic_load(&state) == 0) { /* the loader, one thread alone, is the first to ask */
    const char* const text = getenv("ORB_FAIL_ALLOCATION");
    failing = text != NULL ? atol(text) : 0;
    onwards = getenv("ORB_FAIL_ONWARDS") != NULL;
    atomic_store(&state, 1);
  }
  const long number = atomic_fetch_add(&allocations, 1) + 1;
  if (failing == 0 || (onwards ? number < failing : number != failing)) return 0;
  errno = ENOMEM;
  return 1;
}

void* malloc(size_t n) {
  return fails() ? NULL : __libc_malloc(n);
}

void* calloc(size_t n, size_t size) {
  return fails() ? NULL : __libc_calloc(n, size);
}

void* realloc(void* memory, size_t n) {
  return n != 0 && fails() ? NULL : __libc_realloc(memory, n);
}

void* aligned_alloc(size_t alignment, size_t n) {
  return fails() ? NULL : __libc_memalign(alignment, n);
}

void* memalign(size_t alignment, size_t n) {
  return fails() ? NULL : __libc_memalign(alignment, n);
}

int posix_memalign(void** memory, size_t alignment, size_t n) {
  if (fails()) return ENOMEM;
  *memory = __libc_memalign(alignment, n);
  return *memory != NULL ? 0 : ENOMEM;
}

__attribute__((destructor)) static void tell(void) {
  const char* const path = getenv("ORB_COUNT_ALLOCATIONS");
  if (path == NULL) return;
  char text[32];
  const int length = snprintf(text, sizeof text, "%ld\n", atomic_load(&allocations));
  const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (file < 0) return;
  if (write(file, text, (size_t)length) != length) unlink(path);
  close(file);
}
