/* Loaded before a program (LD_PRELOAD): counts the calls that change something on disk, and kills the process before
 * or after the one that KEZ_KILL_AT names. With KEZ_KILL_COUNT it writes the number of calls to that file at the end.
 *
 * KEZ_KILL_AT=n    n-th call from 1; "n+" kills after the call instead of before it
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

static atomic_long g_calls;
static long g_kill_at;
static int g_after;

__attribute__((constructor)) static void Begin(void) {
    const char* at = getenv("KEZ_KILL_AT");
    if (at) {
        g_kill_at = strtol(at, NULL, 10);
        g_after = strchr(at, '+') != NULL;
    }
}

__attribute__((destructor)) static void End(void) {
    const char* file = getenv("KEZ_KILL_COUNT");
    if (!file) return;
    char text[32];
    const int size = snprintf(text, sizeof text, "%ld", atomic_load(&g_calls));
    ssize_t (*real)(int, const void*, size_t) = (ssize_t(*)(int, const void*, size_t))dlsym(RTLD_NEXT, "write");
    const int to = open(file, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (to >= 0) {
        if (real(to, text, (size_t)size) != size) _exit(99);
        close(to);
    }
}

static int Count(void) { return atomic_fetch_add(&g_calls, 1) + 1 == g_kill_at; }
static void Die(void) { kill(getpid(), SIGKILL); }

#define CALL(result, name, parameters, arguments)                        \
    result name parameters {                                             \
        static result(*real) parameters;                                 \
        if (!real) real = (result(*) parameters)dlsym(RTLD_NEXT, #name); \
        const int hit = Count();                                         \
        if (hit && !g_after) Die();                                      \
        const result answer = real arguments;                            \
        if (hit) Die();                                                  \
        return answer;                                                   \
    }

CALL(ssize_t, write, (int file, const void* data, size_t size), (file, data, size))
CALL(ssize_t, pwrite, (int file, const void* data, size_t size, off_t at), (file, data, size, at))
CALL(ssize_t, pwrite64, (int file, const void* data, size_t size, off64_t at), (file, data, size, at))
CALL(int, rename, (const char* from, const char* to), (from, to))
CALL(int, renameat, (int a, const char* from, int b, const char* to), (a, from, b, to))
CALL(int, renameat2, (int a, const char* from, int b, const char* to, unsigned flags), (a, from, b, to, flags))
CALL(int, link, (const char* from, const char* to), (from, to))
CALL(int, linkat, (int a, const char* from, int b, const char* to, int flags), (a, from, b, to, flags))
CALL(int, unlink, (const char* path), (path))
CALL(int, unlinkat, (int at, const char* path, int flags), (at, path, flags))
CALL(int, fsync, (int file), (file))
CALL(int, fdatasync, (int file), (file))
CALL(int, ftruncate, (int file, off_t size), (file, size))
CALL(int, ftruncate64, (int file, off64_t size), (file, size))
