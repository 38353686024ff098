#include "support/CallCutter.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <vector>

#include "support/ImportTable.h"

namespace zuvia::test {
namespace {

using namespace std::string_view_literals;

// Calls that end at something outside of the process, by what that is.
constexpr auto kReachingOut = {
    // Files and directories.
    "CreateFileW"sv, "ReadFile"sv, "WriteFile"sv, "GetFileSizeEx"sv, "GetFileAttributesW"sv, "SetFileAttributesW"sv,
    "DeleteFileW"sv, "MoveFileExA"sv, "MoveFileExW"sv, "RemoveDirectoryW"sv, "SHCreateDirectoryExW"sv,
    "FindFirstFileW"sv, "FindNextFileW"sv, "FindClose"sv, "GetTempPathW"sv, "GetFileType"sv, "_access"sv, "_open"sv,
    "_close"sv, "_read"sv, "_write"sv, "_lseeki64"sv, "_stat64"sv, "_fstat64"sv, "_filelengthi64"sv, "_unlink"sv,
    "_fdopen"sv, "_wfopen"sv, "fopen"sv, "fclose"sv, "fread"sv, "fwrite"sv, "fflush"sv, "fgets"sv, "fgetpos"sv,
    "fsetpos"sv, "fseek"sv, "ftell"sv, "getc"sv, "getwc"sv, "fputc"sv, "fputs"sv, "fputwc"sv, "putc"sv, "putwc"sv,
    "fprintf"sv, "vfprintf"sv, "fwprintf"sv, "printf"sv,
    // Handles, named objects and waiting for them.
    "CloseHandle"sv, "DuplicateHandle"sv, "CreateMutexW"sv, "ReleaseMutex"sv, "WaitForSingleObject"sv,
    "WaitForSingleObjectEx"sv, "WaitForMultipleObjects"sv, "Sleep"sv, "SleepEx"sv,
    // Modules and what is written in them.
    "LoadLibraryA"sv, "LoadLibraryW"sv, "LoadLibraryExW"sv, "FreeLibrary"sv, "GetProcAddress"sv, "AddDllDirectory"sv,
    "RemoveDllDirectory"sv, "GetModuleHandleA"sv, "GetModuleHandleW"sv, "GetModuleHandleExW"sv, "GetModuleFileNameA"sv,
    "GetModuleFileNameW"sv, "GetFileVersionInfoSizeW"sv, "GetFileVersionInfoW"sv, "VerQueryValueW"sv,
    // Threads.
    "CreateThreadpoolWork"sv, "SubmitThreadpoolWork"sv, "WaitForThreadpoolWorkCallbacks"sv, "CloseThreadpoolWork"sv,
    "_beginthreadex"sv, "ResumeThread"sv,
    // Digests, random numbers, certificates.
    "CryptAcquireContextA"sv, "CryptAcquireContextW"sv, "CryptReleaseContext"sv, "CryptCreateHash"sv,
    "CryptDestroyHash"sv, "CryptHashData"sv, "CryptGetHashParam"sv, "CryptGenRandom"sv, "BCryptGenRandom"sv,
    "CoCreateGuid"sv, "CertOpenSystemStoreA"sv, "CertCloseStore"sv,
    // Network.
    "WSAStartup"sv, "WSACleanup"sv, "WSAIoctl"sv, "WSACreateEvent"sv, "WSACloseEvent"sv, "WSAEventSelect"sv,
    "WSAEnumNetworkEvents"sv, "WSAWaitForMultipleEvents"sv, "accept"sv, "bind"sv, "listen"sv, "socket"sv,
    "closesocket"sv, "connect"sv, "shutdown"sv, "recv"sv, "send"sv, "select"sv, "getaddrinfo"sv, "freeaddrinfo"sv,
    "gethostbyaddr"sv, "gethostbyname"sv, "getservbyname"sv, "getservbyport"sv, "getpeername"sv, "getsockname"sv,
    "getsockopt"sv, "setsockopt"sv, "ioctlsocket"sv,
    // The host.
    "DoLog2"sv, "IsLogLevelEnabled"sv, "UnZip7zToMemory"sv,
    // The system.
    "GetVersionExW"sv, "OpenProcess"sv, "RegisterEventSourceW"sv, "ReportEventW"sv, "DeregisterEventSource"sv,
    "MessageBoxW"sv, "OutputDebugStringA"sv};

// Calls that stay inside: memory, text, locks and thread-local values of this process, its clocks and environment,
// exceptions, its end, and certificates that have been read.
constexpr auto kInside = {"AcquireSRWLockExclusive"sv,
                          "AcquireSRWLockShared"sv,
                          "AddVectoredExceptionHandler"sv,
                          "CompareFileTime"sv,
                          "ConvertFiberToThread"sv,
                          "ConvertThreadToFiberEx"sv,
                          "CreateEventA"sv,
                          "CreateFiberEx"sv,
                          "CreateSemaphoreA"sv,
                          "DeleteCriticalSection"sv,
                          "DeleteFiber"sv,
                          "EnterCriticalSection"sv,
                          "FileTimeToSystemTime"sv,
                          "FormatMessageA"sv,
                          "FormatMessageW"sv,
                          "GetACP"sv,
                          "GetConsoleMode"sv,
                          "GetCurrentProcess"sv,
                          "GetCurrentProcessId"sv,
                          "GetCurrentThread"sv,
                          "GetCurrentThreadId"sv,
                          "GetEnvironmentVariableA"sv,
                          "GetEnvironmentVariableW"sv,
                          "GetHandleInformation"sv,
                          "GetLastError"sv,
                          "GetProcessAffinityMask"sv,
                          "GetProcessTimes"sv,
                          "GetProcessWindowStation"sv,
                          "GetStdHandle"sv,
                          "GetSystemDirectoryA"sv,
                          "GetSystemInfo"sv,
                          "GetSystemTime"sv,
                          "GetSystemTimeAdjustment"sv,
                          "GetSystemTimeAsFileTime"sv,
                          "GetThreadContext"sv,
                          "GetThreadPriority"sv,
                          "GetThreadTimes"sv,
                          "GetTickCount"sv,
                          "GetTickCount64"sv,
                          "GetUserObjectInformationW"sv,
                          "GetVersion"sv,
                          "InitializeCriticalSection"sv,
                          "InitializeCriticalSectionEx"sv,
                          "InitializeSRWLock"sv,
                          "IsDBCSLeadByteEx"sv,
                          "IsDebuggerPresent"sv,
                          "LeaveCriticalSection"sv,
                          "LocalFree"sv,
                          "MultiByteToWideChar"sv,
                          "PathRemoveFileSpecW"sv,
                          "QueryPerformanceCounter"sv,
                          "QueryPerformanceFrequency"sv,
                          "RaiseException"sv,
                          "ReadConsoleA"sv,
                          "ReadConsoleW"sv,
                          "ReleaseSRWLockExclusive"sv,
                          "ReleaseSRWLockShared"sv,
                          "ReleaseSemaphore"sv,
                          "RemoveVectoredExceptionHandler"sv,
                          "ResetEvent"sv,
                          "RtlCaptureContext"sv,
                          "RtlLookupFunctionEntry"sv,
                          "RtlUnwindEx"sv,
                          "RtlVirtualUnwind"sv,
                          "SetConsoleMode"sv,
                          "SetEvent"sv,
                          "SetLastError"sv,
                          "SetProcessAffinityMask"sv,
                          "SetSystemTime"sv,
                          "SetThreadContext"sv,
                          "SetThreadPriority"sv,
                          "SuspendThread"sv,
                          "SwitchToFiber"sv,
                          "SystemTimeToFileTime"sv,
                          "TlsAlloc"sv,
                          "TlsFree"sv,
                          "TlsGetValue"sv,
                          "TlsSetValue"sv,
                          "TryEnterCriticalSection"sv,
                          "VerSetConditionMask"sv,
                          "VerifyVersionInfoW"sv,
                          "VirtualAlloc"sv,
                          "VirtualFree"sv,
                          "VirtualLock"sv,
                          "VirtualProtect"sv,
                          "VirtualQuery"sv,
                          "WideCharToMultiByte"sv,
                          "__C_specific_handler"sv,
                          "CertEnumCertificatesInStore"sv,
                          "CertFreeCertificateContext"sv,
                          "CertGetEnhancedKeyUsage"sv,
                          "CertGetIntendedKeyUsage"sv,
                          "WSAGetLastError"sv,
                          "WSASetLastError"sv,
                          "WSAResetEvent"sv,
                          "WSASetEvent"sv,
                          "__WSAFDIsSet"sv,
                          "htonl"sv,
                          "htons"sv,
                          "ntohs"sv,
                          "inet_addr"sv,
                          "inet_ntoa"sv,
                          "inet_ntop"sv,
                          "inet_pton"sv,
                          "___lc_codepage_func"sv,
                          "___mb_cur_max_func"sv,
                          "__iob_func"sv,
                          "_amsg_exit"sv,
                          "_assert"sv,
                          "_endthreadex"sv,
                          "_errno"sv,
                          "_exit"sv,
                          "_fileno"sv,
                          "_get_osfhandle"sv,
                          "_gmtime64"sv,
                          "_initterm"sv,
                          "_lock"sv,
                          "_onexit"sv,
                          "_setjmp"sv,
                          "_setmode"sv,
                          "_strdup"sv,
                          "_stricmp"sv,
                          "_time64"sv,
                          "_ultoa"sv,
                          "_unlock"sv,
                          "_vscprintf"sv,
                          "_vsnprintf"sv,
                          "_vsnwprintf"sv,
                          "_wcsicmp"sv,
                          "abort"sv,
                          "atoi"sv,
                          "calloc"sv,
                          "exit"sv,
                          "feof"sv,
                          "ferror"sv,
                          "free"sv,
                          "getenv"sv,
                          "islower"sv,
                          "isspace"sv,
                          "isupper"sv,
                          "iswctype"sv,
                          "isxdigit"sv,
                          "localeconv"sv,
                          "longjmp"sv,
                          "malloc"sv,
                          "memchr"sv,
                          "memcmp"sv,
                          "memcpy"sv,
                          "memmove"sv,
                          "memset"sv,
                          "qsort"sv,
                          "raise"sv,
                          "rand"sv,
                          "realloc"sv,
                          "setlocale"sv,
                          "setvbuf"sv,
                          "signal"sv,
                          "sprintf"sv,
                          "srand"sv,
                          "strcat"sv,
                          "strchr"sv,
                          "strcmp"sv,
                          "strcoll"sv,
                          "strcpy"sv,
                          "strcspn"sv,
                          "strerror"sv,
                          "strftime"sv,
                          "strlen"sv,
                          "strncmp"sv,
                          "strncpy"sv,
                          "strpbrk"sv,
                          "strrchr"sv,
                          "strspn"sv,
                          "strstr"sv,
                          "strtol"sv,
                          "strtoul"sv,
                          "strxfrm"sv,
                          "tolower"sv,
                          "towlower"sv,
                          "towupper"sv,
                          "ungetc"sv,
                          "ungetwc"sv,
                          "wcscmp"sv,
                          "wcscoll"sv,
                          "wcscpy"sv,
                          "wcsftime"sv,
                          "wcslen"sv,
                          "wcsstr"sv,
                          "wcstombs"sv,
                          "wcsxfrm"sv};

// The way of one import's calls, as instructions and what they work on. They change no register and not the stack: what
// they lead to finds the caller's arguments, whatever those are.
#pragma pack(push, 1)
struct Detour {
  std::array<std::uint8_t, 4> decrement = {0xF0, 0x48, 0xFF, 0x0D};  // lock dec qword ptr [rip + toRemaining]
  std::int32_t toRemaining;
  std::array<std::uint8_t, 2> skipUnlessZero = {0x75, 0x06};  // jnz over the next
  std::array<std::uint8_t, 2> jumpToEnd = {0xFF, 0x25};       // jmp qword ptr [rip + toEnd]
  std::int32_t toEnd;
  std::array<std::uint8_t, 2> jumpToOriginal = {0xFF, 0x25};  // jmp qword ptr [rip + toOriginal]
  std::int32_t toOriginal;
  std::array<std::uint8_t, 2> padding{};
  std::int64_t remaining;  // the process ends at the call that makes it 0; it counts on below
  void* original;
  void (*end)();
};
#pragma pack(pop)

// An instruction counts from its end, which is where its displacement ends.
constexpr std::int32_t displacement(std::size_t ofTarget, std::size_t ofDisplacement) {
  return static_cast<std::int32_t>(ofTarget - ofDisplacement - sizeof(std::int32_t));
}

static_assert(offsetof(Detour, remaining) % alignof(std::int64_t) == 0);

void endHere() {
  TerminateProcess(GetCurrentProcess(), CallCutter::kCutStatus);
}

Detour detourTo(void* original) {
  Detour detour{};
  detour.toRemaining = displacement(offsetof(Detour, remaining), offsetof(Detour, toRemaining));
  detour.toEnd = displacement(offsetof(Detour, end), offsetof(Detour, toEnd));
  detour.toOriginal = displacement(offsetof(Detour, original), offsetof(Detour, toOriginal));
  detour.original = original;
  detour.end = &endHere;
  return detour;
}

// C++ functions go by what stands in their mangled name.
std::string plainName(const std::string& function) {
  constexpr std::string_view unzip = "UnZip7zToMemory";
  return function.find(unzip) == std::string::npos ? function : std::string(unzip);
}

bool contains(std::span<const std::string_view> names, std::string_view function) {
  return std::ranges::find(names, function) != names.end();
}

// Variables are imported, too.
bool isFunction(const Import& import) {
  constexpr DWORD kExecutable = PAGE_EXECUTE | PAGE_EXECUTE_READ | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
  MEMORY_BASIC_INFORMATION memory{};
  VirtualQuery(*import.entry, &memory, sizeof memory);
  return (memory.Protect & kExecutable) != 0;
}

bool countsAsCall(const std::string& function) {
  if (contains(kReachingOut, function)) return true;
  if (contains(kInside, function)) return false;
  throw std::runtime_error("Does a call of " + function + " reach beyond the process? Say so in CallCutter.cpp");
}

std::vector<Import> importsReachingOut(HMODULE module) {
  std::vector<Import> imports = importsOf(module);
  std::erase_if(imports, [](const Import& import) { return !isFunction(import); });
  std::erase_if(imports, [](const Import& import) { return !countsAsCall(plainName(import.function)); });
  return imports;
}

Detour* allocateDetours(std::size_t number) {
  void* memory = VirtualAlloc(nullptr, number * sizeof(Detour), MEM_COMMIT | MEM_RESERVE, PAGE_EXECUTE_READWRITE);
  if (memory == nullptr) throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "detours");
  return static_cast<Detour*>(memory);
}

}  // namespace

struct CallCutter::Private {
  // One imported function; a module may have several entries for it.
  struct Counted {
    std::string function;
    Detour* detour;
    std::int64_t start = 0;  // the value of remaining from which calls are counted

    std::atomic_ref<std::int64_t> remaining() const { return std::atomic_ref(*aligned(&detour->remaining)); }
    std::size_t calls() const { return static_cast<std::size_t>(start - remaining().load()); }

   private:
    static std::int64_t* aligned(void* remaining) { return static_cast<std::int64_t*>(remaining); }
  };

  std::vector<Counted> counted;
};

CallCutter::CallCutter(HMODULE module) : m(std::make_unique<Private>()) {
  const std::vector<Import> imports = importsReachingOut(module);
  Detour* detours = allocateDetours(imports.size());
  for (const Import& import : imports) {
    new (detours) Detour(detourTo(*import.entry));
    m->counted.push_back({plainName(import.function), detours});
    exchangeEntry(import.entry, detours++);
  }
}

std::map<std::string, std::size_t> CallCutter::calls() const {
  std::map<std::string, std::size_t> calls;
  for (const Private::Counted& counted : m->counted) {
    if (counted.calls() != 0) calls[counted.function] += counted.calls();
  }
  return calls;
}

void CallCutter::cutAt(const std::string& function, std::size_t number) {
  const auto found = std::ranges::find(m->counted, function, &Private::Counted::function);
  if (found == m->counted.end()) throw std::invalid_argument("The module does not import " + function);
  found->start = static_cast<std::int64_t>(number + found->calls());
  found->remaining().store(static_cast<std::int64_t>(number));
}

}  // namespace zuvia::test
