/* Preloaded into velk by the fault tests: makes one file operation of a run fail, or all from one on.
 *
 *   VELK_FAULT         kind:n, where n counts from 1 the calls that can fail in this way
 *                        full     from the n-th on, nothing that needs space on the disk succeeds
 *                        broken   the n-th call fails with EIO
 *                        denied   the n-th call that asks for a permission fails with EACCES
 *                        short    the n-th transfer moves only half of its bytes
 *   VELK_FAULT_REPORT  a file that receives the name of the call that was the n-th
 *
 * The three standard streams always work, and so does unlink: without it nobody could clean up.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

enum {
    NEEDS_SPACE = 1,
    NEEDS_PERMISSION = 2,
    TRANSFERS = 4,
};

static struct {
    int needed; /* what a call must be to be counted */
    int error; /* 0 = a short transfer */
    int lasts;
    long first;
} fault;
static long calls;

static const struct {
    char const* name;
    int needed, error, lasts;
} kinds[] = {
    {"full", NEEDS_SPACE, ENOSPC, 1},
    {"broken", 0, EIO, 0},
    {"denied", NEEDS_PERMISSION, EACCES, 0},
    {"short", TRANSFERS, 0, 0},
};

__attribute__((constructor)) static void read_fault(void)
{
    char const* text = getenv("VELK_FAULT");
    char const* colon = text ? strchr(text, ':') : NULL;
    for (size_t i = 0; colon && i < sizeof kinds / sizeof *kinds; ++i) {
        if (strncmp(text, kinds[i].name, (size_t)(colon - text)) != 0)
            continue;
        fault.needed = kinds[i].needed;
        fault.error = kinds[i].error;
        fault.lasts = kinds[i].lasts;
        fault.first = strtol(colon + 1, NULL, 10);
    }
}

static void report(char const* name)
{
    char const* path = getenv("VELK_FAULT_REPORT");
    int fd = path ? (int)syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_TRUNC, 0666) : -1;
    if (fd < 0)
        return;
    syscall(SYS_write, fd, name, strlen(name));
    syscall(SYS_close, fd);
}

/* Whether the fault strikes this call. */
static int strikes(char const* name, int traits)
{
    if (fault.first == 0 || (traits & fault.needed) != fault.needed)
        return 0;
    long call = __atomic_add_fetch(&calls, 1, __ATOMIC_SEQ_CST);
    if (call == fault.first)
        report(name);
    return call == fault.first || (fault.lasts && call > fault.first);
}

/* Whether the call fails; then errno says why. */
static int fails(char const* name, int traits)
{
    if (fault.error == 0 || !strikes(name, traits))
        return 0;
    errno = fault.error;
    return 1;
}

/* The number of bytes that a transfer may move. */
static size_t allowed(char const* name, size_t count)
{
    return fault.error == 0 && count > 1 && strikes(name, TRANSFERS) ? count / 2 : count;
}

static int isStandardStream(int fd)
{
    return fd <= STDERR_FILENO;
}

static int opening(int directory, char const* path, int flags)
{
    /* A full disk still opens and empties the files that are there. */
    int creates = (flags & O_CREAT) && syscall(SYS_faccessat, directory, path, F_OK) != 0;
    return NEEDS_PERMISSION | (creates ? NEEDS_SPACE : 0);
}

#define REAL(name, result, ...) ((result(*)(__VA_ARGS__))dlsym(RTLD_NEXT, name))

#define MODE_OF(flags)                                                                                       \
    mode_t mode = 0;                                                                                         \
    if ((flags) & (O_CREAT | __O_TMPFILE)) {                                                                 \
        va_list list;                                                                                        \
        va_start(list, flags);                                                                               \
        mode = va_arg(list, mode_t);                                                                         \
        va_end(list);                                                                                        \
    }

#define OPEN(name)                                                                                           \
    int name(char const* path, int flags, ...)                                                               \
    {                                                                                                        \
        MODE_OF(flags)                                                                                       \
        if (fails(#name, opening(AT_FDCWD, path, flags)))                                                    \
            return -1;                                                                                       \
        return REAL(#name, int, char const*, int, ...)(path, flags, mode);                                   \
    }
OPEN(open)
OPEN(open64)

#define OPENAT(name)                                                                                         \
    int name(int directory, char const* path, int flags, ...)                                                \
    {                                                                                                        \
        MODE_OF(flags)                                                                                       \
        if (fails(#name, opening(directory, path, flags)))                                                   \
            return -1;                                                                                       \
        return REAL(#name, int, int, char const*, int, ...)(directory, path, flags, mode);                   \
    }
OPENAT(openat)
OPENAT(openat64)

#define TRANSFER(name, buffer, traits)                                                                       \
    ssize_t name(int fd, buffer bytes, size_t count)                                                         \
    {                                                                                                        \
        if (!isStandardStream(fd)) {                                                                         \
            if (fails(#name, traits))                                                                        \
                return -1;                                                                                   \
            count = allowed(#name, count);                                                                   \
        }                                                                                                    \
        return REAL(#name, ssize_t, int, buffer, size_t)(fd, bytes, count);                                  \
    }
TRANSFER(read, void*, TRANSFERS)
TRANSFER(write, void const*, TRANSFERS | NEEDS_SPACE)

#define TRANSFER_AT(name, buffer, traits)                                                                    \
    ssize_t name(int fd, buffer bytes, size_t count, off_t offset)                                           \
    {                                                                                                        \
        if (fails(#name, traits))                                                                            \
            return -1;                                                                                       \
        return REAL(#name, ssize_t, int, buffer, size_t, off_t)(fd, bytes, allowed(#name, count), offset);   \
    }
TRANSFER_AT(pread, void*, TRANSFERS)
TRANSFER_AT(pread64, void*, TRANSFERS)
TRANSFER_AT(pwrite, void const*, TRANSFERS | NEEDS_SPACE)
TRANSFER_AT(pwrite64, void const*, TRANSFERS | NEEDS_SPACE)

ssize_t copy_file_range(int from, off64_t* in, int to, off64_t* out, size_t count, unsigned flags)
{
    if (fails("copy_file_range", TRANSFERS | NEEDS_SPACE))
        return -1;
    return REAL("copy_file_range", ssize_t, int, off64_t*, int, off64_t*, size_t, unsigned)(
        from, in, to, out, allowed("copy_file_range", count), flags);
}

ssize_t sendfile(int to, int from, off_t* offset, size_t count)
{
    if (fails("sendfile", TRANSFERS | NEEDS_SPACE))
        return -1;
    return REAL("sendfile", ssize_t, int, int, off_t*, size_t)(to, from, offset, allowed("sendfile", count));
}

/* A descriptor is gone even if closing it failed. */
int close(int fd)
{
    int isStruck = !isStandardStream(fd) && fails("close", 0);
    int result = REAL("close", int, int)(fd);
    if (!isStruck)
        return result;
    errno = fault.error;
    return -1;
}

#define ON_DESCRIPTOR(name, type, traits)                                                                    \
    int name(int fd, type argument)                                                                          \
    {                                                                                                        \
        if (fails(#name, traits))                                                                            \
            return -1;                                                                                       \
        return REAL(#name, int, int, type)(fd, argument);                                                    \
    }
ON_DESCRIPTOR(ftruncate, off_t, NEEDS_SPACE)
ON_DESCRIPTOR(ftruncate64, off_t, NEEDS_SPACE)
ON_DESCRIPTOR(fchmod, mode_t, NEEDS_PERMISSION)
ON_DESCRIPTOR(fstat, struct stat*, 0)
ON_DESCRIPTOR(fstat64, struct stat64*, 0)

#define SYNC(name)                                                                                           \
    int name(int fd)                                                                                         \
    {                                                                                                        \
        if (fails(#name, NEEDS_SPACE))                                                                       \
            return -1;                                                                                       \
        return REAL(#name, int, int)(fd);                                                                    \
    }
SYNC(fsync)
SYNC(fdatasync)

#define ON_PATH(name, type, traits)                                                                          \
    int name(char const* path, type argument)                                                                \
    {                                                                                                        \
        if (fails(#name, traits))                                                                            \
            return -1;                                                                                       \
        return REAL(#name, int, char const*, type)(path, argument);                                          \
    }
ON_PATH(access, int, NEEDS_PERMISSION)
ON_PATH(stat, struct stat*, NEEDS_PERMISSION)
ON_PATH(stat64, struct stat64*, NEEDS_PERMISSION)
ON_PATH(rename, char const*, NEEDS_PERMISSION | NEEDS_SPACE)

int fchown(int fd, uid_t user, gid_t group)
{
    if (fails("fchown", NEEDS_PERMISSION))
        return -1;
    return REAL("fchown", int, int, uid_t, gid_t)(fd, user, group);
}
