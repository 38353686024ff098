// An implementation as its author writes it; compiled for MSVC by check-headers. Nothing of it runs.
#include <zuvia/Exports.h>
#include <zuvia/ImplementationBase.h>

namespace {

class Greeter final : public zuvia::ImplementationBase {
 public:
  Greeter() : ImplementationBase("2.0.0.46") {}

 private:
  std::string onCommand(const std::string& command, const std::string& data) override {
    if (command != "greet") return "";
    raiseEvent("greeted", data);
    return "Hello, " + data;
  }
};

}  // namespace

extern "C" zuvia::IPluginEntryPoint* createImpl();

extern "C" zuvia::IPluginEntryPoint* createImpl() {
  static Greeter greeter;
  return &greeter;
}
