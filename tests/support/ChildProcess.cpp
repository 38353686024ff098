#include "support/ChildProcess.h"

#include <windows.h>

#include <array>
#include <chrono>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "support/SlimMutex.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr DWORD kTerminatedStatus = 999;

struct CloseHandleOf {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseHandleOf>;

void check(bool succeeded, const std::string& action) {
  if (!succeeded) throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), action);
}

struct Pipe {
  Handle reader;
  Handle writer;
};

// The child inherits its ends only through the list given to CreateProcessW.
Pipe makePipe() {
  SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
  HANDLE reader = nullptr;
  HANDLE writer = nullptr;
  check(CreatePipe(&reader, &writer, &inheritable, 0), "CreatePipe");
  return {Handle(reader), Handle(writer)};
}

// A job whose processes end when its last handle is closed.
Handle makeJob() {
  Handle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  check(SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits), "A job");
  return job;
}

// Reads a pipe to its end on a thread of its own.
class PipeReader {
 public:
  explicit PipeReader(Handle pipe) : pipe_(std::move(pipe)), thread_([this] { run(); }) {}

  std::optional<std::string> takeLine(Clock::time_point deadline) {
    const std::lock_guard lock(mutex_);
    std::size_t end = text_.find('\n');
    while (end == std::string::npos && !ended_ && Clock::now() < deadline) {
      mutex_.wait(changed_, deadline);
      end = text_.find('\n');
    }
    if (end == std::string::npos) return std::nullopt;
    std::string line = text_.substr(0, end);
    text_.erase(0, end + 1);
    if (line.ends_with('\r')) line.pop_back();
    return line;
  }

  // What came so far; with a deadline, what comes to the end of the pipe or until then.
  std::string text(Clock::time_point deadline = {}) {
    const std::lock_guard lock(mutex_);
    while (!ended_ && Clock::now() < deadline) mutex_.wait(changed_, deadline);
    return text_;
  }

  // Returns when the other side has closed the pipe.
  void join() {
    if (thread_.joinable()) thread_.join();
  }

 private:
  void run() {
    std::array<char, 4096> buffer{};
    DWORD got = 0;
    while (ReadFile(pipe_.get(), buffer.data(), static_cast<DWORD>(buffer.size()), &got, nullptr) && got > 0) {
      add(std::string_view(buffer.data(), got));
    }
    const std::lock_guard lock(mutex_);
    ended_ = true;
    WakeAllConditionVariable(&changed_);
  }

  void add(std::string_view text) {
    const std::lock_guard lock(mutex_);
    text_ += text;
    WakeAllConditionVariable(&changed_);
  }

  Handle pipe_;
  SlimMutex mutex_;
  CONDITION_VARIABLE changed_ = CONDITION_VARIABLE_INIT;
  std::string text_;
  bool ended_ = false;
  std::thread thread_;
};

// The attribute list that says which handles are inherited.
class InheritedHandles {
 public:
  explicit InheritedHandles(std::array<HANDLE, 3> handles) : handles_(handles) {
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    buffer_.resize(size);
    check(InitializeProcThreadAttributeList(list(), 1, 0, &size), "An attribute list");
    check(UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(), sizeof handles_,
                                    nullptr, nullptr),
          "The inherited handles");
  }
  ~InheritedHandles() { DeleteProcThreadAttributeList(list()); }
  InheritedHandles(const InheritedHandles&) = delete;
  InheritedHandles& operator=(const InheritedHandles&) = delete;

  LPPROC_THREAD_ATTRIBUTE_LIST list() { return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(buffer_.data()); }

 private:
  std::array<HANDLE, 3> handles_;
  std::vector<char> buffer_;
};

Handle start(const std::wstring& program, std::wstring command, const std::array<HANDLE, 3>& streams, HANDLE job) {
  InheritedHandles inherited(streams);
  STARTUPINFOEXW startup{};
  startup.StartupInfo.cb = sizeof startup;
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = streams[0];
  startup.StartupInfo.hStdOutput = streams[1];
  startup.StartupInfo.hStdError = streams[2];
  startup.lpAttributeList = inherited.list();
  PROCESS_INFORMATION information{};
  const auto create = [&] {
    return CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE,
                          EXTENDED_STARTUPINFO_PRESENT | CREATE_SUSPENDED, nullptr, nullptr, &startup.StartupInfo,
                          &information) != 0;
  };
  // Under Wine one process in some thousands dies before it has begun, and is not started then.
  bool created = create();
  for (int i = 0; i < 3 && !created && GetLastError() == ERROR_INTERNAL_ERROR; ++i) created = create();
  check(created, "Cannot start " + toUtf8(program));
  Handle process(information.hProcess);
  const Handle thread(information.hThread);
  // It must not run a moment outside the job.
  const bool assigned = AssignProcessToJobObject(job, process.get()) != 0;
  if (!assigned) TerminateProcess(process.get(), kTerminatedStatus);
  check(assigned, "AssignProcessToJobObject");
  ResumeThread(thread.get());
  return process;
}

// Backslashes count as themselves except before a quotation mark.
std::wstring quoted(const std::wstring& argument) {
  std::wstring text = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t character : argument) {
    if (character == L'"') text.append(backslashes + 1, L'\\');
    backslashes = character == L'\\' ? backslashes + 1 : 0;
    text += character;
  }
  return text.append(backslashes, L'\\') + L'"';
}

}  // namespace

struct ChildProcess::Private {
  Private(Handle ownJob, Handle ownProcess, Handle ownInput, Handle outputPipe, Handle errorPipe)
      : job(std::move(ownJob)),
        process(std::move(ownProcess)),
        input(std::move(ownInput)),
        output(std::move(outputPipe)),
        errors(std::move(errorPipe)) {}

  ~Private() {
    // What the child may have started holds the pipes as well: the job ends them all.
    TerminateJobObject(job.get(), kTerminatedStatus);
    output.join();
    errors.join();
  }

  Handle job;
  Handle process;
  Handle input;
  PipeReader output;
  PipeReader errors;
};

std::wstring commandLine(const std::wstring& program, const std::vector<std::wstring>& arguments) {
  std::wstring line = L'"' + program + L'"';
  for (const std::wstring& argument : arguments) line += L' ' + quoted(argument);
  return line;
}

ChildProcess::ChildProcess(const std::wstring& program, const std::vector<std::wstring>& arguments) {
  Pipe input = makePipe();
  Pipe output = makePipe();
  Pipe errors = makePipe();
  Handle job = makeJob();
  Handle process = start(program, commandLine(program, arguments),
                         {input.reader.get(), output.writer.get(), errors.writer.get()}, job.get());
  // The child's ends close here, or the output would never end.
  output.writer.reset();
  errors.writer.reset();
  m = std::make_unique<Private>(std::move(job), std::move(process), std::move(input.writer), std::move(output.reader),
                                std::move(errors.reader));
}

ChildProcess::~ChildProcess() = default;

unsigned long ChildProcess::id() const {
  return GetProcessId(m->process.get());
}

bool ChildProcess::writeLine(std::string_view line) {
  const std::string text = std::string(line) + '\n';
  DWORD written = 0;
  return WriteFile(m->input.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) != 0;
}

void ChildProcess::closeInput() {
  m->input.reset();
}

std::optional<std::string> ChildProcess::readLine(unsigned milliseconds) {
  return m->output.takeLine(Clock::now() + std::chrono::milliseconds(milliseconds));
}

std::optional<std::string> ChildProcess::readUntil(const std::function<bool(const std::string&)>& condition,
                                                   unsigned milliseconds) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  for (;;) {
    std::optional<std::string> line = m->output.takeLine(deadline);
    if (!line || condition(*line)) return line;
  }
}

std::string ChildProcess::errorText() const {
  // The end of a child that has ended is on its way; another process that holds the pipe may keep it open.
  const bool ended = WaitForSingleObject(m->process.get(), 0) == WAIT_OBJECT_0;
  return ended ? m->errors.text(Clock::now() + std::chrono::seconds(1)) : m->errors.text();
}

std::optional<unsigned long> ChildProcess::waitForExit(unsigned milliseconds) {
  if (WaitForSingleObject(m->process.get(), milliseconds) != WAIT_OBJECT_0) return std::nullopt;
  DWORD status = 0;
  GetExitCodeProcess(m->process.get(), &status);
  return status;
}

void ChildProcess::terminate() {
  TerminateProcess(m->process.get(), kTerminatedStatus);
  WaitForSingleObject(m->process.get(), INFINITE);
}

}  // namespace zuvia::test
