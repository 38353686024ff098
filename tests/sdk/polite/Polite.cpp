#include <zuvia/Exports.h>
#include <zuvia/ImplementationBase.h>

#include "greeting.h"

class Polite final : public zuvia::ImplementationBase {
 public:
  Polite() : ImplementationBase(ZUIMPL_VERSION) {}

 private:
  std::string onCommand(const std::string& command, const std::string& data) override {
    if (command != "greet") return "";
    raiseEvent("greeted", data);
    return greeting() + data;
  }
};

extern "C" zuvia::IPluginEntryPoint* createImpl() {
  static Polite polite;
  return &polite;
}
