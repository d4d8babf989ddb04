#include "dur_Model.h"

#include "dur_Files.h"

#include <gbb/pattern/gbb_MemberCodec.h>
#include <gbb/pattern/gbb_MemberTable.h>

namespace {
constexpr ORXSimContextID kAny(0);

kda_MapString<ORXSimDistributionID> userFields(ORXSimContextID context) {
  kda_MapString<ORXSimDistributionID> fields;
  for (const char* const name : {"distribution 0", "distribution 1", "distribution 2"})
    fields.insert(name, ORXSimDistributionID(context, 3));
  return fields;
}

std::vector<unsigned char> streamOf(const std::string& name) {
  fesD_FESystemMembers members(kda_string(name.c_str()), ORXSimDistributionID(kAny, 1),
                               ORXSimDistributionID(kAny, 2));
  members.userDistributions = userFields(kAny);
  gbb_MemoryStream stream(kAny);
  gbb_ForEach<gbb_MemberTable<fesD_FESystemTraits>::Members>(
      [&](auto member) { gbb_WriteMember(stream, member.kIndex, members.*member.kField); });
  const gbb_MemoryStream::Buffer bytes = stream.GetBuffer();
  return {bytes.Data(), bytes.Data() + bytes.Length()};
}

// As long as makes the stream what it shall be.
const std::string& nameOfAll() {
  static const std::string s_name = [] {
    const auto without = static_cast<int>(streamOf("").size());
    dur_Must(without < dur_kStream, "room for a name");
    return std::string(static_cast<std::size_t>(dur_kStream - without), 'n');
  }();
  return s_name;
}
} // namespace

std::vector<unsigned char> dur_Stream() {
  return streamOf(nameOfAll());
}

msfD_Sim dur_CreateModel(msfD_Root& root, const std::string& path, int n, int mode) {
  const msfD_Sim sim = root.createSim(path.c_str(), "", mode);
  const ORXSimContextID context = sim.distributionService().Context();
  ORXSimUpdate update(context);
  const msfD_Mesh mesh =
      sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0)).Mesh(msfD_Mesh::New({}, {}, 0));
  const auto systems = mesh.systems();
  const auto fields = userFields(context);
  for (int i = 0; i < n; ++i) {
    fesD_FESystemHolder system =
        fesD_FESystem::New(kda_string(nameOfAll().c_str()), ORXSimDistributionID(context, 1),
                           ORXSimDistributionID(context, 2), 0);
    system.Get().UserDistributions(fields); // in memory: the object is bound by add
    systems.add(std::move(system));
  }
  dur_Must(update.Commit(), "a model");
  return sim;
}
