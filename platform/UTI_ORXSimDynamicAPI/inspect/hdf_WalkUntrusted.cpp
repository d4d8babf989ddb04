#include <UTI_ORXSimDynamicAPI/inspect/hdf_WalkUntrusted.h>

#include <UTI_BasicUtils/prc_Child.h>
#include <UTI_ORXSimDynamicAPI/inspect/hdf_Walk.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>

namespace {
constexpr std::uint64_t kSmall = 65536;

// Remembers the first thing that makes a file unfit, and reads what is small.
class FirstCause : public ORXSimInspectVisitor {
 public:
  void Object(const ORXSimInspected& object) override {
    std::string failure;
    if (object.isDataset && object.sound && object.Bytes() <= kSmall &&
        !object.Read([](const unsigned char*, std::size_t) { return true; }, failure))
      Finding({object.path, "unreadable", failure});
  }
  void Finding(const ORXSimFinding& finding) override {
    const bool harmless = finding.note || finding.kind == "link.soft" || finding.kind == "link.external" ||
                          finding.kind == "link.user";
    if (cause.empty() && !harmless)
      cause = finding.path + ": " + finding.text;
  }
  std::string cause;
};

void walk(std::uint64_t fileBytes, const std::function<hid_t()>& open, const prc_Child::Say& say) {
  hdf_Operation operation("inspect", "the file");
  const hid_t file = open(); // not closed: the process ends without a trace
  if (file < 0)
    return say("the file: " + hdf_CauseOf(operation));
  FirstCause visitor;
  hdf_Walk(operation, file, fileBytes, visitor).Run();
  say(visitor.cause);
}
} // namespace

// Other threads wait meanwhile: the child has the descriptors of their files, and with them their locks.
bool hdf_WalkUntrusted(hdf_Operation& operation, std::uint64_t fileBytes,
                       const std::function<hid_t()>& open) {
  const auto limits = prc_ChildLimits::ForFile(fileBytes);
  const prc_Child::Outcome outcome =
      prc_Child::Run(limits, [&](const prc_Child::Say& say) { walk(fileBytes, open, say); });
  if (!outcome.ended)
    return operation.Refuse("not safe to open: the process that looked at it " + outcome.cause);
  return outcome.output.empty() || operation.Refuse("not safe to open: " + outcome.output);
}
