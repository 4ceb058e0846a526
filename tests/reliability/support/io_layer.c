// A layer between a program and the C library, loaded with LD_PRELOAD. It follows what the program does with the files
// below one folder, writes that down and fails calls on demand.
//   ORB_IO_ROOT   the folder, as an absolute path without links
//   ORB_IO_LOG    file for the changes, one a line: create PATH INODE, unnamed INODE, name PATH INODE, write INODE
//   OFFSET HEX, truncate INODE SIZE,
//                 sync INODE, rename FROM TO, link FROM TO, unlink PATH, told HEX (written to standard output)
//   ORB_IO_TRACE  file for the kind of each call, and `hit` for one that failed on demand
//   ORB_IO_FAULT  KIND:N:ACTION or KIND:N+:ACTION: the N-th call of that kind (`any` is a kind too), and with + all
//                 behind it, fails with the error number ACTION; or transfers half (`short`); or the process dies
//                 (`kill`)
// Calls that would change files unseen end the program.
#undef _FILE_OFFSET_BITS
#define _GNU_SOURCE
#define _LARGEFILE64_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#define PUBLIC __attribute__((visibility("default")))
#define REAL(result, name, ...)       \
  static result (*real)(__VA_ARGS__); \
  if (real == NULL) real = (result(*)(__VA_ARGS__))dlsym(RTLD_NEXT, #name)

enum { kShort = -1, kKill = -2 };

static pthread_mutex_t mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
static char root[PATH_MAX];
static int log_file = -1, trace_file = -1;
static char fault_kind[16];
static long fault_at = 0, countdown = 0;
static int fault_onwards = 0, fault_action = 0;

static int openOwn(const char* name) {
  const char* const path = getenv(name);
  return path == NULL ? -1 : (int)syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
}

__attribute__((constructor)) static void begin(void) {
  const char* const folder = getenv("ORB_IO_ROOT");
  if (folder == NULL) return;
  snprintf(root, sizeof root, "%s", folder);
  log_file = openOwn("ORB_IO_LOG");
  trace_file = openOwn("ORB_IO_TRACE");
  const char* const fault = getenv("ORB_IO_FAULT");
  char at[24], action[16];
  if (fault == NULL || sscanf(fault, "%15[^:]:%23[^:]:%15s", fault_kind, at, action) != 3) return;
  countdown = fault_at = atol(at);
  fault_onwards = strchr(at, '+') != NULL;
  fault_action = strcmp(action, "short") == 0 ? kShort : strcmp(action, "kill") == 0 ? kKill : atoi(action);
}

static void put(int file, const char* bytes, size_t n) {
  if (file >= 0) syscall(SYS_write, file, bytes, n);
}

static void note(const char* format, ...) {
  if (log_file < 0) return;
  char line[2 * PATH_MAX + 64];
  va_list arguments;
  va_start(arguments, format);
  const int n = vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  put(log_file, line, (size_t)n);
}

static void noteBytes(const char* head, const void* bytes, size_t n) {
  if (log_file < 0) return;
  const size_t start = strlen(head);
  char* const line = malloc(start + 2 * n + 2);
  memcpy(line, head, start);
  for (size_t i = 0; i < 2 * n; ++i) {
    const unsigned byte = ((const unsigned char*)bytes)[i / 2];
    line[start + i] = "0123456789abcdef"[i % 2 == 0 ? byte >> 4 : byte & 15];
  }
  line[start + 2 * n] = '\n';
  put(log_file, line, start + 2 * n + 1);
  free(line);
}

static void refuse(const char* what) {
  fprintf(stderr, "io_layer: %s is not followed\n", what);
  abort();
}

// ---- What is followed ---------------------------------------------------------------------------------------

/// The absolute path without links in its folder; false when it does not lie below the root.
static int follow(int at, const char* path, char* full) {
  if (root[0] == '\0' || path == NULL || path[0] == '\0') return 0;
  if (at != AT_FDCWD && path[0] != '/') refuse("a path relative to a descriptor");
  const int saved = errno;
  char copy[PATH_MAX];
  snprintf(copy, sizeof copy, "%s", path);
  char* const slash = strrchr(copy, '/');
  const char* const base = slash == NULL ? copy : slash + 1;
  if (slash != NULL) *slash = '\0';
  char folder[PATH_MAX];
  const int known = realpath(slash == NULL ? "." : slash == copy ? "/" : copy, folder) != NULL;
  errno = saved;
  if (!known) return 0;
  if (snprintf(full, PATH_MAX, "%s/%s", folder, base) >= PATH_MAX) return 0;
  if (full[strlen(full) - 1] == '/') full[strlen(full) - 1] = '\0';
  const size_t n = strlen(root);
  return strncmp(full, root, n) == 0 && (full[n] == '/' || full[n] == '\0');
}

/// Inode of a followed file or folder; 0 for others.
static unsigned long inodeOf(int descriptor) {
  char link[40], path[PATH_MAX];
  struct stat64 state;
  if (root[0] == '\0') return 0;
  snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
  const int saved = errno;
  const ssize_t n = syscall(SYS_readlinkat, AT_FDCWD, link, path, sizeof path - 1);
  const int known = n > 0 && syscall(SYS_newfstatat, descriptor, "", &state, AT_EMPTY_PATH) == 0;
  errno = saved;
  if (!known) return 0;
  path[n] = '\0';
  return strncmp(path, root, strlen(root)) == 0 ? state.st_ino : 0;
}

static unsigned long inodeNamed(const char* path) {
  struct stat64 state;
  return syscall(SYS_newfstatat, AT_FDCWD, path, &state, AT_SYMLINK_NOFOLLOW) == 0 ? state.st_ino : 0;
}

// ---- Faults -------------------------------------------------------------------------------------------------

/// Counts a call. @return 0 to let it pass, kShort, or an error number that is in errno too
static int enter(const char* kind) {
  if (trace_file >= 0) {
    char line[20];
    put(trace_file, line, (size_t)snprintf(line, sizeof line, "%s\n", kind));
  }
  if (fault_at == 0 || (strcmp(fault_kind, "any") != 0 && strcmp(fault_kind, kind) != 0)) return 0;
  --countdown;
  if (countdown > 0 || (countdown < 0 && !fault_onwards)) return 0;
  put(trace_file, "hit\n", 4);
  if (fault_action == kKill) kill(getpid(), SIGKILL);
  if (fault_action > 0) errno = fault_action;
  return fault_action;
}

static size_t shortened(int fault, size_t n) {
  return fault == kShort && n > 1 ? n / 2 : n;
}

#define LOCKED(expression)       \
  pthread_mutex_lock(&mutex);    \
  expression;                    \
  const int saved_errno = errno; \
  pthread_mutex_unlock(&mutex);  \
  errno = saved_errno

// ---- Opening ------------------------------------------------------------------------------------------------

static int openFollowed(int at, const char* path, int flags, mode_t mode) {
  char full[PATH_MAX];
  if (!follow(at, path, full)) return (int)syscall(SYS_openat, at, path, flags, mode);
  if (enter("open") > 0) return -1;
  const int was_there = (flags & O_CREAT) == 0 || inodeNamed(full) != 0;
  const int result = (int)syscall(SYS_openat, at, path, flags, mode);
  if (result >= 0 && (flags & O_TMPFILE) == O_TMPFILE) {
    note("unnamed %lu\n", inodeOf(result));
    return result;
  }
  if (result >= 0 && !was_there) note("create %s %lu\n", full, inodeOf(result));
  if (result >= 0 && was_there && (flags & O_TRUNC) != 0) note("truncate %lu 0\n", inodeOf(result));
  return result;
}

static mode_t modeOf(int flags, va_list arguments) {
  return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
}

#define DEFINE_OPEN(name)                                       \
  PUBLIC int name(const char* path, int flags, ...) {           \
    va_list arguments;                                          \
    va_start(arguments, flags);                                 \
    const mode_t mode = modeOf(flags, arguments);               \
    va_end(arguments);                                          \
    int result;                                                 \
    LOCKED(result = openFollowed(AT_FDCWD, path, flags, mode)); \
    return result;                                              \
  }
DEFINE_OPEN(open)
DEFINE_OPEN(open64)

#define DEFINE_OPENAT(name)                                   \
  PUBLIC int name(int at, const char* path, int flags, ...) { \
    va_list arguments;                                        \
    va_start(arguments, flags);                               \
    const mode_t mode = modeOf(flags, arguments);             \
    va_end(arguments);                                        \
    int result;                                               \
    LOCKED(result = openFollowed(at, path, flags, mode));     \
    return result;                                            \
  }
DEFINE_OPENAT(openat)
DEFINE_OPENAT(openat64)

#define DEFINE_FOPEN(name)                                              \
  PUBLIC FILE* name(const char* path, const char* mode) {               \
    REAL(FILE*, name, const char*, const char*);                        \
    char full[PATH_MAX];                                                \
    if (follow(AT_FDCWD, path, full)) {                                 \
      if (strpbrk(mode, "wa+") != NULL) refuse("a stream that writes"); \
      if (enter("open") > 0) return NULL;                               \
    }                                                                   \
    return real(path, mode);                                            \
  }
DEFINE_FOPEN(fopen)
DEFINE_FOPEN(fopen64)

PUBLIC int close(int descriptor) {
  int failed;
  LOCKED(failed = inodeOf(descriptor) != 0 ? enter("close") : 0);
  const int result = (int)syscall(SYS_close, descriptor);
  if (failed > 0) errno = failed;
  return failed > 0 ? -1 : result;
}

// ---- Reading and writing --------------------------------------------------------------------------------------

static ssize_t readFollowed(int descriptor, void* to, size_t n, off64_t at) {
  const int fault = inodeOf(descriptor) != 0 ? enter("read") : 0;
  if (fault > 0) return -1;
  n = shortened(fault, n);
  return at < 0 ? syscall(SYS_read, descriptor, to, n) : syscall(SYS_pread64, descriptor, to, n, at);
}

static ssize_t writeFollowed(int descriptor, const void* from, size_t n, off64_t at) {
  const unsigned long inode = inodeOf(descriptor);
  const int fault = inode != 0 ? enter("write") : 0;
  if (fault > 0) return -1;
  n = shortened(fault, n);
  const ssize_t done =
      at < 0 ? syscall(SYS_write, descriptor, from, n) : syscall(SYS_pwrite64, descriptor, from, n, at);
  if (done < 0) return done;
  char head[64];
  if (inode != 0) {
    const long where = at < 0 ? syscall(SYS_lseek, descriptor, 0, SEEK_CUR) - done : at;
    snprintf(head, sizeof head, "write %lu %ld ", inode, where);
    noteBytes(head, from, (size_t)done);
  } else if (descriptor == STDOUT_FILENO) {
    noteBytes("told ", from, (size_t)done);
  }
  return done;
}

PUBLIC ssize_t read(int descriptor, void* to, size_t n) {
  LOCKED(const ssize_t done = readFollowed(descriptor, to, n, -1));
  return done;
}
PUBLIC ssize_t write(int descriptor, const void* from, size_t n) {
  LOCKED(const ssize_t done = writeFollowed(descriptor, from, n, -1));
  return done;
}
PUBLIC ssize_t pread(int descriptor, void* to, size_t n, off_t at) {
  LOCKED(const ssize_t done = readFollowed(descriptor, to, n, at));
  return done;
}
PUBLIC ssize_t pread64(int descriptor, void* to, size_t n, off64_t at) {
  LOCKED(const ssize_t done = readFollowed(descriptor, to, n, at));
  return done;
}
PUBLIC ssize_t pwrite(int descriptor, const void* from, size_t n, off_t at) {
  LOCKED(const ssize_t done = writeFollowed(descriptor, from, n, at));
  return done;
}
PUBLIC ssize_t pwrite64(int descriptor, const void* from, size_t n, off64_t at) {
  LOCKED(const ssize_t done = writeFollowed(descriptor, from, n, at));
  return done;
}
PUBLIC ssize_t writev(int descriptor, const struct iovec* parts, int n) {
  // As one part may: a caller has to be ready for a write that is not complete.
  for (int i = 0; i < n; ++i)
    if (parts[i].iov_len > 0) return write(descriptor, parts[i].iov_base, parts[i].iov_len);
  return 0;
}

// ---- Sizes and syncs ------------------------------------------------------------------------------------------

static int truncateFollowed(int descriptor, off64_t size) {
  const unsigned long inode = inodeOf(descriptor);
  if (inode != 0 && enter("truncate") > 0) return -1;
  const int result = (int)syscall(SYS_ftruncate, descriptor, size);
  if (inode != 0 && result == 0) note("truncate %lu %lld\n", inode, (long long)size);
  return result;
}

static int syncFollowed(int descriptor) {
  const unsigned long inode = inodeOf(descriptor);
  if (inode == 0) return (int)syscall(SYS_fsync, descriptor);
  if (enter("sync") > 0) return -1;
  note("sync %lu\n", inode);
  return 0;  // nobody pulls the plug meanwhile, and disks are slow
}

PUBLIC int ftruncate(int descriptor, off_t size) {
  LOCKED(const int result = truncateFollowed(descriptor, size));
  return result;
}
PUBLIC int ftruncate64(int descriptor, off64_t size) {
  LOCKED(const int result = truncateFollowed(descriptor, size));
  return result;
}
PUBLIC int fsync(int descriptor) {
  LOCKED(const int result = syncFollowed(descriptor));
  return result;
}
PUBLIC int fdatasync(int descriptor) {
  return fsync(descriptor);
}

// ---- Names ----------------------------------------------------------------------------------------------------

static int renameFollowed(int from_at, const char* from, int to_at, const char* to, unsigned flags) {
  char from_full[PATH_MAX], to_full[PATH_MAX];
  const int is_followed = follow(from_at, from, from_full) + follow(to_at, to, to_full);
  if (is_followed == 1) refuse("a rename across the border");
  if (is_followed == 2 && enter("rename") > 0) return -1;
  const int result = (int)syscall(SYS_renameat2, from_at, from, to_at, to, flags);
  if (is_followed == 2 && result == 0) {
    if ((flags & RENAME_EXCHANGE) != 0) refuse("an exchange of names");
    note("rename %s %s\n", from_full, to_full);
  }
  return result;
}

PUBLIC int rename(const char* from, const char* to) {
  LOCKED(const int result = renameFollowed(AT_FDCWD, from, AT_FDCWD, to, 0));
  return result;
}
PUBLIC int renameat(int from_at, const char* from, int to_at, const char* to) {
  LOCKED(const int result = renameFollowed(from_at, from, to_at, to, 0));
  return result;
}
PUBLIC int renameat2(int from_at, const char* from, int to_at, const char* to, unsigned flags) {
  LOCKED(const int result = renameFollowed(from_at, from, to_at, to, flags));
  return result;
}

static int linkFollowed(int from_at, const char* from, int to_at, const char* to, int flags) {
  char from_full[PATH_MAX], to_full[PATH_MAX];
  // A file without a name is linked through its entry in /proc.
  const int is_unnamed = strncmp(from, "/proc/self/fd/", 14) == 0;
  const unsigned long inode = is_unnamed ? inodeOf(atoi(from + 14)) : 0;
  const int is_followed = follow(to_at, to, to_full);
  if (is_followed && enter("link") > 0) return -1;
  const int result = (int)syscall(SYS_linkat, from_at, from, to_at, to, flags);
  if (is_followed && result == 0 && is_unnamed) note("name %s %lu\n", to_full, inode);
  if (is_followed && result == 0 && !is_unnamed && follow(from_at, from, from_full))
    note("link %s %s\n", from_full, to_full);
  return result;
}

PUBLIC int link(const char* from, const char* to) {
  LOCKED(const int result = linkFollowed(AT_FDCWD, from, AT_FDCWD, to, 0));
  return result;
}
PUBLIC int linkat(int from_at, const char* from, int to_at, const char* to, int flags) {
  LOCKED(const int result = linkFollowed(from_at, from, to_at, to, flags));
  return result;
}

static int unlinkFollowed(int at, const char* path, int flags) {
  char full[PATH_MAX];
  const int is_followed = follow(at, path, full);
  if (is_followed && enter("unlink") > 0) return -1;
  const int result = (int)syscall(SYS_unlinkat, at, path, flags);
  if (is_followed && result == 0 && (flags & AT_REMOVEDIR) == 0) note("unlink %s\n", full);
  return result;
}

PUBLIC int unlink(const char* path) {
  LOCKED(const int result = unlinkFollowed(AT_FDCWD, path, 0));
  return result;
}
PUBLIC int unlinkat(int at, const char* path, int flags) {
  LOCKED(const int result = unlinkFollowed(at, path, flags));
  return result;
}
PUBLIC int remove(const char* path) {
  return unlink(path);
}

// ---- Looks and locks ------------------------------------------------------------------------------------------

#define DEFINE_STAT(name, type)                                       \
  PUBLIC int name(const char* path, struct type* state) {             \
    REAL(int, name, const char*, struct type*);                       \
    char full[PATH_MAX];                                              \
    if (follow(AT_FDCWD, path, full) && enter("stat") > 0) return -1; \
    return real(path, state);                                         \
  }
DEFINE_STAT(stat, stat)
DEFINE_STAT(stat64, stat64)
DEFINE_STAT(lstat, stat)
DEFINE_STAT(lstat64, stat64)

PUBLIC int access(const char* path, int mode) {
  char full[PATH_MAX];
  if (follow(AT_FDCWD, path, full) && enter("stat") > 0) return -1;
  return (int)syscall(SYS_faccessat, AT_FDCWD, path, mode);
}

#define DEFINE_FSTAT(name, type)                                  \
  PUBLIC int name(int descriptor, struct type* state) {           \
    REAL(int, name, int, struct type*);                           \
    if (inodeOf(descriptor) != 0 && enter("stat") > 0) return -1; \
    return real(descriptor, state);                               \
  }
DEFINE_FSTAT(fstat, stat)
DEFINE_FSTAT(fstat64, stat64)

PUBLIC int flock(int descriptor, int operation) {
  if (inodeOf(descriptor) != 0 && enter("lock") > 0) return -1;
  return (int)syscall(SYS_flock, descriptor, operation);
}

#define DEFINE_FCNTL(name)                                                              \
  PUBLIC int name(int descriptor, int command, ...) {                                   \
    va_list arguments;                                                                  \
    va_start(arguments, command);                                                       \
    void* const argument = va_arg(arguments, void*);                                    \
    va_end(arguments);                                                                  \
    if (command == F_SETLK && inodeOf(descriptor) != 0 && enter("lock") > 0) return -1; \
    return (int)syscall(SYS_fcntl, descriptor, command, argument);                      \
  }
DEFINE_FCNTL(fcntl)
DEFINE_FCNTL(fcntl64)

#define DEFINE_MMAP(name)                                                                        \
  PUBLIC void* name(void* where, size_t n, int protection, int flags, int descriptor, long at) { \
    if ((flags & MAP_SHARED) != 0 && (protection & PROT_WRITE) != 0 && inodeOf(descriptor) != 0) \
      refuse("memory that is shared with a file");                                               \
    return (void*)syscall(SYS_mmap, where, n, protection, flags, descriptor, at);                \
  }
DEFINE_MMAP(mmap)
DEFINE_MMAP(mmap64)

// A caller that asks for one of these has another way.
PUBLIC ssize_t sendfile(int to, int from, off_t* at, size_t n) {
  (void)to, (void)from, (void)at, (void)n;
  errno = EINVAL;
  return -1;
}
PUBLIC ssize_t copy_file_range(int from, off64_t* from_at, int to, off64_t* to_at, size_t n, unsigned flags) {
  (void)from, (void)from_at, (void)to, (void)to_at, (void)n, (void)flags;
  errno = ENOSYS;
  return -1;
}
