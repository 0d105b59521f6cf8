#pragma once

#include "items/inputs.h"

namespace host {

// The key store of the process, through vconf.h, and the model of the set, through system_info.h.
class HostInputs : public Inputs {
 public:
  std::optional<int> Number(const std::string& key) const override;
  std::optional<std::string> Text(const std::string& key) const override;
  bool WriteNumber(const std::string& key, int number) override;
  bool WriteText(const std::string& key, const std::string& text) override;
  std::optional<bool> BoolFeature(const std::string& feature) const override;
  std::optional<int> IntFeature(const std::string& feature) const override;
};

}  // namespace host
