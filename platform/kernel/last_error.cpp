// The last error of each thread, and who the calling thread and process are.
#include <sys/syscall.h>
#include <unistd.h>
#include <windows.h>

namespace {
thread_local DWORD t_lastError = 0;
}

DWORD GetLastError() { return t_lastError; }

void SetLastError(DWORD error) { t_lastError = error; }

DWORD GetCurrentProcessId() { return static_cast<DWORD>(getpid()); }

DWORD GetCurrentThreadId() { return static_cast<DWORD>(syscall(SYS_gettid)); }
