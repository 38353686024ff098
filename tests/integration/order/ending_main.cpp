// A host that ends without unloading its plugin:
//
//   zuvia_test_ending PLUGIN APPPATH PORT STAGE WAY
//
// It loads the plugin, has it update itself from the test server at that port, and ends when the update has come to
// that stage of Stage.h, while it is held there; at "Idle" before any load, at "Loaded" before any host information, at
// "Updated" when the new version has been announced. It says "at STAGE" and ends with the status 42:
//
//   return   main returns
//   exit     the thread that came to the stage calls ExitProcess

// Before windows.h.
#include <winsock2.h>

#include <zuvia/Exports.h>
#include <zuvia/IWxMonitor.h>

#include <iostream>
#include <string>

#include "integration/order/Signal.h"
#include "integration/order/Stage.h"
#include "support/HostInformation.h"
#include "support/NetworkRedirect.h"
#include "support/Text.h"

namespace {

using zuvia::test::Signal;

constexpr int kStatus = 42;
constexpr int kStageNotReached = 1;

struct Arguments {
  std::wstring plugin;
  std::string appPath;
  unsigned short port;
  std::string stage;
  std::string way;
};

// Nothing of it ends before the process: the threads of the plugin run until then.
class Host {
 public:
  explicit Host(const Arguments& arguments) : arguments_(arguments), module_(LoadLibraryW(arguments.plugin.c_str())) {
    const FARPROC found = GetProcAddress(module_, zuvia::kCreateExport);
    entry_ = reinterpret_cast<zuvia::CreateFunction*>(reinterpret_cast<void*>(found))();
    monitor_ = static_cast<zuvia::IWxMonitor*>(entry_->queryInterface(zuvia::IID_IWxMonitor));
    new zuvia::test::NetworkRedirect(
        module_, {{"localhost", 18443, arguments.port}, {"config.zuvia.example", 443, arguments.port}});
  }

  // Returns whether the stage was reached.
  bool runToStage() {
    if (arguments_.stage == "Idle") return arrive(), true;
    entry_->onLoaded("C:\\host");
    if (arguments_.stage == "Loaded") return arrive(), true;
    if (arguments_.stage == "Updated") return runToUpgrade();
    new zuvia::test::StageHook(module_, *monitor_, zuvia::test::stageNamed(arguments_.stage), [this] {
      arrive();
      reached_.set();
      Sleep(INFINITE);
    });
    sendHostInformation();
    return reached_.wait();
  }

 private:
  bool runToUpgrade() {
    monitor_->addListener([this](const char* name, const char*) {
      if (std::string(name) == "pluginUpgradeEvent") reached_.set();
    });
    sendHostInformation();
    if (!reached_.wait()) return false;
    Sleep(200);  // the task's own thread ends
    return arrive(), true;
  }

  void sendHostInformation() {
    monitor_->sendCommand("setHostInfo", zuvia::test::hostInformation(arguments_.appPath).c_str());
  }

  void arrive() {
    std::cout << "at " << arguments_.stage << std::endl;
    if (arguments_.way == "exit") ExitProcess(kStatus);
  }

  const Arguments& arguments_;
  const HMODULE module_;
  zuvia::IPluginEntryPoint* entry_ = nullptr;
  zuvia::IWxMonitor* monitor_ = nullptr;
  Signal reached_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) return kStageNotReached;
  const Arguments arguments{zuvia::test::toWide(argv[1]), argv[2], static_cast<unsigned short>(std::stoi(argv[3])),
                            argv[4], argv[5]};
  auto& host = *new Host(arguments);
  return host.runToStage() ? kStatus : kStageNotReached;
}
