#pragma once

#include <string>

#include <zuvia/ImplementationBase.h>

#include "Emissions.h"

namespace sample {

// The object behind the plugin. It answers two commands and "" to every other one:
//
//   echo TEXT        its data
//   emit NAME DATA   "ok"; raises the event NAME with DATA on a thread of its own. "" and no event
//                    when the name is missing, the object is not loaded or there is no thread to be had
class Implementation final : public zuvia::ImplementationBase {
 public:
  Implementation();

  // Returns whether the first word is not 0.
  bool monitorRelay1(void* first, void* second, void* third) override;

 private:
  // Waits until every event that was begun has been delivered.
  void onStop() override;
  std::string onCommand(const std::string& command, const std::string& data) override;
  std::string emit(const std::string& event);

  Emissions emissions_;
};

}  // namespace sample
