#include <pdmsim/export/out/exp_Format.h>

#include <pdmsim/cli/cli_Failure.h>

std::size_t exp_Step(const exp_Task& task) {
  const std::size_t step = task.wanted.step.value_or(0), count = task.mesh.Times().size();
  if (task.wanted.step && step >= count)
    throw cli_Failure(cli_Exit::kNotThere,
                      task.mesh.Path() + ": expected a step in 0.." +
                          (count > 0 ? std::to_string(count - 1) : "0, which is none here") + ", found " +
                          std::to_string(step));
  return step;
}

std::string exp_ComponentName(const std::string& name, std::size_t component, std::size_t components) {
  if (components == 1)
    return name;
  return name + "_" + (components <= 3 ? std::string(1, "xyz"[component]) : std::to_string(component + 1));
}
