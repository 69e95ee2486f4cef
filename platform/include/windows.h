// The platform's base types, kernel calls, heaps, text, COM and automation, under the platform's names.
//
// Widths are the platform's: DWORD, LONG, ULONG and BOOL have 32 bits everywhere, WCHAR has 16; only pointers
// and handles are as wide as the machine's. Calls report failure through their result and leave the reason in
// GetLastError(), which is kept per thread; a call that succeeds leaves the last error as it was, except where
// its comment says otherwise. Paths are device paths: they start at "\", the device folder's root, and compare
// without regard to ASCII case.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>

// --- Scalars ----------------------------------------------------------------------------------------------

using BYTE = std::uint8_t;
using UCHAR = std::uint8_t;
using CHAR = char;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using SHORT = std::int16_t;
using INT = std::int32_t;
using UINT = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using BOOL = std::int32_t;
using HRESULT = std::int32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using DWORD_PTR = std::uintptr_t;
using ULONG_PTR = std::uintptr_t;
using LONG_PTR = std::intptr_t;
using SIZE_T = std::size_t;
using WCHAR = char16_t;
using OLECHAR = WCHAR;
using VARIANT_BOOL = std::int16_t;
using DATE = double;  // days since 1899-12-30; the fraction is the time of day, counted forward also before that day

using LPVOID = void*;
using LPCVOID = const void*;
using LPBYTE = BYTE*;
using LPDWORD = DWORD*;
using LPSTR = char*;
using LPCSTR = const char*;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using BSTR = OLECHAR*;
using HANDLE = void*;
using HINSTANCE = HANDLE;
using HMODULE = HANDLE;
using HWND = HANDLE;
using HLOCAL = HANDLE;

#define TEXT(literal) u##literal

#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif
#define WINAPI
#define CALLBACK
#define APIENTRY
#define STDMETHODCALLTYPE
#define CONST const

inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1));

inline constexpr DWORD MAX_PATH = 260;
inline constexpr DWORD INFINITE = 0xFFFFFFFF;

#define LOWORD(value) (static_cast<WORD>(static_cast<DWORD>(value) & 0xFFFF))
#define HIWORD(value) (static_cast<WORD>((static_cast<DWORD>(value) >> 16) & 0xFFFF))

// --- Structures -------------------------------------------------------------------------------------------

struct GUID {
    DWORD Data1;
    WORD Data2;
    WORD Data3;
    BYTE Data4[8];
};
using IID = GUID;
using CLSID = GUID;
using REFIID = const IID&;
using REFCLSID = const CLSID&;
using REFGUID = const GUID&;

inline bool operator==(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof(GUID)) == 0; }
inline bool operator!=(const GUID& a, const GUID& b) { return !(a == b); }
inline BOOL IsEqualGUID(REFGUID a, REFGUID b) { return a == b; }
inline BOOL IsEqualIID(REFIID a, REFIID b) { return a == b; }

struct FILETIME {  // 100 ns since 1601-01-01, low half first; aligned on 4
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;      // 1 to 12
    WORD wDayOfWeek;  // 0 is Sunday
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};

struct TIME_ZONE_INFORMATION {
    LONG Bias;  // minutes; UTC = local + bias
    WCHAR StandardName[32];
    SYSTEMTIME StandardDate;
    LONG StandardBias;
    WCHAR DaylightName[32];
    SYSTEMTIME DaylightDate;
    LONG DaylightBias;
};
inline constexpr DWORD TIME_ZONE_ID_UNKNOWN = 0;
inline constexpr DWORD TIME_ZONE_ID_STANDARD = 1;
inline constexpr DWORD TIME_ZONE_ID_DAYLIGHT = 2;
inline constexpr DWORD TIME_ZONE_ID_INVALID = 0xFFFFFFFF;

union LARGE_INTEGER {
    struct {
        DWORD LowPart;
        LONG HighPart;
    } u;
    LONGLONG QuadPart;
};
union ULARGE_INTEGER {
    struct {
        DWORD LowPart;
        DWORD HighPart;
    } u;
    ULONGLONG QuadPart;
};

struct SECURITY_ATTRIBUTES;
struct OVERLAPPED;

// --- Last error -------------------------------------------------------------------------------------------

inline constexpr DWORD NO_ERROR = 0;
inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_DBPROP_NOT_FOUND = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_BAD_FORMAT = 11;
inline constexpr DWORD ERROR_BAD_LENGTH = 24;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_NOT_SUPPORTED = 50;
inline constexpr DWORD ERROR_DUP_NAME = 52;
inline constexpr DWORD ERROR_FILE_EXISTS = 80;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_INVALID_NAME = 123;
inline constexpr DWORD ERROR_NEGATIVE_SEEK = 131;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_REPEATED_KEY = 183;
inline constexpr DWORD ERROR_NO_DATA = 232;
inline constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
inline constexpr DWORD ERROR_NOT_OWNER = 288;
inline constexpr DWORD ERROR_KEY_DELETED = 1018;
inline constexpr DWORD ERROR_NOT_FOUND = 1168;
inline constexpr DWORD ERROR_INTERNAL_DB_CORRUPTION = 1358;

DWORD GetLastError();
void SetLastError(DWORD error);

// --- Files ------------------------------------------------------------------------------------------------

inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD GENERIC_WRITE = 0x40000000;
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;
inline constexpr DWORD CREATE_NEW = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD TRUNCATE_EXISTING = 5;
inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x01;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD FILE_BEGIN = 0;
inline constexpr DWORD FILE_CURRENT = 1;
inline constexpr DWORD FILE_END = 2;
inline constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF;
inline constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFF;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;

// Opens or makes a file below the device folder; INVALID_HANDLE_VALUE on failure. Last error 183 after
// CREATE_ALWAYS or OPEN_ALWAYS of a file that was there, 0 where it was made.
HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security, DWORD disposition,
                   DWORD attributes, HANDLE templateFile);
BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD bytes, LPDWORD read, OVERLAPPED* overlapped);
BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD bytes, LPDWORD written, OVERLAPPED* overlapped);
DWORD SetFilePointer(HANDLE file, LONG distance, LONG* distanceHigh, DWORD method);
DWORD GetFileSize(HANDLE file, LPDWORD sizeHigh);
DWORD GetFileAttributesW(LPCWSTR path);
BOOL CopyFileW(LPCWSTR from, LPCWSTR to, BOOL failIfExists);
BOOL DeleteFileW(LPCWSTR path);
BOOL CreateDirectoryW(LPCWSTR path, SECURITY_ATTRIBUTES* security);
BOOL CloseHandle(HANDLE handle);  // files, mutexes, databases, sessions, database searches

#define CreateFile CreateFileW
#define CopyFile CopyFileW
#define DeleteFile DeleteFileW
#define CreateDirectory CreateDirectoryW

// --- Named mutex ------------------------------------------------------------------------------------------

inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_ABANDONED = 0x80;
inline constexpr DWORD WAIT_TIMEOUT = 0x102;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

// A mutex named on the whole device. Last error 183 where the name existed, 0 where it is new.
HANDLE CreateMutexW(SECURITY_ATTRIBUTES* security, BOOL initialOwner, LPCWSTR name);
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);
BOOL ReleaseMutex(HANDLE mutex);
#define CreateMutex CreateMutexW

// --- Interlocked counters, time, process ------------------------------------------------------------------

LONG InterlockedIncrement(volatile LONG* value);  // the new value
LONG InterlockedDecrement(volatile LONG* value);  // the new value

void GetSystemTime(SYSTEMTIME* utc);
void GetLocalTime(SYSTEMTIME* local);
DWORD GetTickCount();
BOOL SystemTimeToFileTime(const SYSTEMTIME* from, FILETIME* to);
BOOL FileTimeToSystemTime(const FILETIME* from, SYSTEMTIME* to);
// Both apply the bias that is in force now, not the one of the converted date.
BOOL LocalFileTimeToFileTime(const FILETIME* local, FILETIME* utc);
BOOL FileTimeToLocalFileTime(const FILETIME* utc, FILETIME* local);
LONG CompareFileTime(const FILETIME* a, const FILETIME* b);
DWORD GetTimeZoneInformation(TIME_ZONE_INFORMATION* zone);  // TIME_ZONE_ID_*
void Sleep(DWORD milliseconds);
DWORD GetCurrentProcessId();
DWORD GetCurrentThreadId();

inline constexpr DWORD DLL_PROCESS_DETACH = 0;
inline constexpr DWORD DLL_PROCESS_ATTACH = 1;
inline constexpr DWORD DLL_THREAD_ATTACH = 2;
inline constexpr DWORD DLL_THREAD_DETACH = 3;

// --- Heaps ------------------------------------------------------------------------------------------------

inline constexpr UINT LMEM_FIXED = 0;
inline constexpr UINT LMEM_MOVEABLE = 0x02;
inline constexpr UINT LMEM_ZEROINIT = 0x40;
inline constexpr UINT LPTR = 0x40;
inline constexpr DWORD HEAP_ZERO_MEMORY = 0x08;

HLOCAL LocalAlloc(UINT flags, SIZE_T bytes);
HLOCAL LocalReAlloc(HLOCAL block, SIZE_T bytes, UINT flags);  // the old block stays valid on failure
HLOCAL LocalFree(HLOCAL block);                               // null on success
SIZE_T LocalSize(HLOCAL block);                               // exactly the requested size
HANDLE GetProcessHeap();
LPVOID HeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes);
LPVOID HeapReAlloc(HANDLE heap, DWORD flags, LPVOID block, SIZE_T bytes);
BOOL HeapFree(HANDLE heap, DWORD flags, LPVOID block);
SIZE_T HeapSize(HANDLE heap, DWORD flags, LPCVOID block);

// --- Text -------------------------------------------------------------------------------------------------

inline constexpr UINT CP_ACP = 0;
inline constexpr UINT CP_UTF8 = 65001;

// The default code page is 1252. Lengths and results as the platform's: bytes written, the terminator counted
// where `length` is -1; 0 on failure.
INT WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR text, INT length, LPSTR out, INT bytes, LPCSTR defaultChar,
                        BOOL* usedDefault);
INT MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, INT length, LPWSTR out, INT characters);

// Bounded formatting by the platform's rules: %s is text of the function's own width and %S of the other, %ld
// and %lu take 32 bits, %f rounds exact ties away from zero. Returns the length written, -1 where the text did
// not fit; there is no terminator unless the length is below the limit.
INT _vsnprintf(char* buffer, std::size_t limit, const char* format, va_list arguments);
INT _snprintf(char* buffer, std::size_t limit, const char* format, ...);
INT _vsnwprintf(WCHAR* buffer, std::size_t limit, const WCHAR* format, va_list arguments);
INT _snwprintf(WCHAR* buffer, std::size_t limit, const WCHAR* format, ...);

std::size_t wcslen(const WCHAR* text);
INT wcscmp(const WCHAR* a, const WCHAR* b);
INT wcsncmp(const WCHAR* a, const WCHAR* b, std::size_t count);
INT _wcsicmp(const WCHAR* a, const WCHAR* b);  // lower-cases A to Z only
INT _wcsnicmp(const WCHAR* a, const WCHAR* b, std::size_t count);
WCHAR* wcscpy(WCHAR* to, const WCHAR* from);
WCHAR* wcsncpy(WCHAR* to, const WCHAR* from, std::size_t count);
WCHAR* wcscat(WCHAR* to, const WCHAR* from);
const WCHAR* wcsstr(const WCHAR* text, const WCHAR* part);
WCHAR* wcsstr(WCHAR* text, const WCHAR* part);
const WCHAR* wcschr(const WCHAR* text, WCHAR character);
WCHAR* wcschr(WCHAR* text, WCHAR character);
WCHAR* wcstok(WCHAR* text, const WCHAR* delimiters);  // the state is kept per thread between calls
LONG _wtol(const WCHAR* text);

// --- COM and automation -----------------------------------------------------------------------------------

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT NOERROR = 0;
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
inline constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFF);
inline constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154);
inline constexpr HRESULT CO_E_NOTINITIALIZED = static_cast<HRESULT>(0x800401F0);
inline constexpr HRESULT RPC_E_CHANGED_MODE = static_cast<HRESULT>(0x80010106);

#define SUCCEEDED(hr) (static_cast<HRESULT>(hr) >= 0)
#define FAILED(hr) (static_cast<HRESULT>(hr) < 0)
inline constexpr HRESULT HRESULT_FROM_WIN32(DWORD error) {
    return error == 0 ? S_OK : static_cast<HRESULT>((error & 0xFFFF) | 0x80070000);
}

inline constexpr IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr IID IID_IDispatch = {0x00020400, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr IID IID_ISequentialStream = {
    0x0C733A30, 0x2A1C, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};
inline constexpr IID IID_IStream = {0x0000000C, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

// Interfaces have no virtual destructor: the slot order is the contract, and objects delete themselves when
// their count reaches 0.
struct IUnknown {
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) = 0;  // slot 0
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;                                   // slot 1, the new count
    virtual ULONG STDMETHODCALLTYPE Release() = 0;                                  // slot 2, the new count
};

struct ITypeInfo;
struct DISPPARAMS;
struct EXCEPINFO;
struct VARIANT;

struct IDispatch : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) = 0;                                   // slot 3
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, DWORD locale, ITypeInfo** out) = 0;          // slot 4
    virtual HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID riid, LPWSTR* names, UINT count, DWORD locale,  // slot 5
                                                    LONG* ids) = 0;
    virtual HRESULT STDMETHODCALLTYPE Invoke(LONG id, REFIID riid, DWORD locale, WORD flags,  // slot 6
                                             DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                             UINT* badArgument) = 0;
};

struct STATSTG {
    LPWSTR pwcsName;
    DWORD type;
    ULARGE_INTEGER cbSize;
    FILETIME mtime;
    FILETIME ctime;
    FILETIME atime;
    DWORD grfMode;
    DWORD grfLocksSupported;
    CLSID clsid;
    DWORD grfStateBits;
    DWORD reserved;
};
inline constexpr DWORD STATFLAG_DEFAULT = 0;
inline constexpr DWORD STATFLAG_NONAME = 1;
inline constexpr DWORD STGC_DEFAULT = 0;
inline constexpr DWORD STREAM_SEEK_SET = 0;
inline constexpr DWORD STREAM_SEEK_CUR = 1;
inline constexpr DWORD STREAM_SEEK_END = 2;

struct ISequentialStream : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Read(void* buffer, ULONG bytes, ULONG* read) = 0;            // slot 3
    virtual HRESULT STDMETHODCALLTYPE Write(const void* buffer, ULONG bytes, ULONG* written) = 0;  // slot 4
};

struct IStream : ISequentialStream {
    virtual HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) = 0;  // 5
    virtual HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) = 0;                                         // 6
    virtual HRESULT STDMETHODCALLTYPE CopyTo(IStream* target, ULARGE_INTEGER bytes, ULARGE_INTEGER* read,       // 7
                                             ULARGE_INTEGER* written) = 0;
    virtual HRESULT STDMETHODCALLTYPE Commit(DWORD flags) = 0;                                                    // 8
    virtual HRESULT STDMETHODCALLTYPE Revert() = 0;                                                               // 9
    virtual HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD type) = 0;    // 10
    virtual HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD type) = 0;  // 11
    virtual HRESULT STDMETHODCALLTYPE Stat(STATSTG* out, DWORD flag) = 0;                                         // 12
    virtual HRESULT STDMETHODCALLTYPE Clone(IStream** out) = 0;                                                   // 13
};

inline constexpr DWORD COINIT_MULTITHREADED = 0;
inline constexpr DWORD COINIT_APARTMENTTHREADED = 2;
inline constexpr DWORD CLSCTX_INPROC_SERVER = 1;

HRESULT CoInitializeEx(LPVOID reserved, DWORD model);
void CoUninitialize();
HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID riid, void** out);

BSTR SysAllocString(const OLECHAR* text);
BSTR SysAllocStringLen(const OLECHAR* text, UINT length);  // null text gives uninitialised characters
void SysFreeString(BSTR text);
UINT SysStringLen(BSTR text);                             // characters, from the stored length
UINT SysStringByteLen(BSTR text);                         // bytes
INT SystemTimeToVariantTime(SYSTEMTIME* from, DATE* to);  // 1 done, 0 refused and `to` untouched
INT VariantTimeToSystemTime(DATE from, SYSTEMTIME* to);   // 1 done, 0 refused and `to` untouched

// --- What the layouts must be -----------------------------------------------------------------------------

static_assert(sizeof(GUID) == 16 && sizeof(FILETIME) == 8 && alignof(FILETIME) == 4);
static_assert(sizeof(SYSTEMTIME) == 16 && sizeof(TIME_ZONE_INFORMATION) == 172);
static_assert(sizeof(WCHAR) == 2 && sizeof(BOOL) == 4 && sizeof(VARIANT_BOOL) == 2 && sizeof(DATE) == 8);
