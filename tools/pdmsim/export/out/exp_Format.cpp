#include <pdmsim/export/out/exp_Format.h>

std::string exp_ComponentName(const std::string& name, std::size_t component, std::size_t components) {
  if (components == 1)
    return name;
  return name + "_" + (components <= 3 ? std::string(1, "xyz"[component]) : std::to_string(component + 1));
}
