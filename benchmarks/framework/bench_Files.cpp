// Creating, committing, reopening and reading n objects, against the plain HDF5 C library doing the same
// bytes ("tuned" and as it comes). The file size of each is shown as bytes per object.

#include "raw_Objects.h"

#include <PDM_Core.h>
#include <gbb/pattern/gbb_MemberCodec.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace {

std::string fileOf(const std::string& who, int n) {
  return (std::filesystem::temp_directory_path() / ("bench_" + who + "_" + std::to_string(n) + ".pdm"))
      .string();
}

fesD_FESystemHolder newSystem(ORXSimContextID context) {
  return fesD_FESystem::New("each system of the benchmark", ORXSimDistributionID(context, 1),
                            ORXSimDistributionID(context, 2), 0);
}

kda_MapString<ORXSimDistributionID> userFields(ORXSimContextID context, int first) {
  kda_MapString<ORXSimDistributionID> fields;
  for (int i = 0; i < 4; ++i)
    fields.insert(("distribution " + std::to_string(i)).c_str(), ORXSimDistributionID(context, first + i));
  return fields;
}

// The bytes that ours stores for one object, so that the peer writes as many.
std::vector<unsigned char> streamBytes() {
  const ORXSimContextID context(0);
  fesD_FESystemMembers members("each system of the benchmark", ORXSimDistributionID(context, 1),
                               ORXSimDistributionID(context, 2));
  members.userDistributions = userFields(context, 3);
  gbb_MemoryStream stream(context);
  gbb_ForEach<gbb_MemberTable<fesD_FESystemTraits>::Members>(
      [&](auto member) { gbb_WriteMember(stream, member.kIndex, members.*member.kField); });
  const gbb_MemoryStream::Buffer bytes = stream.GetBuffer();
  return {bytes.Data(), bytes.Data() + bytes.Length()};
}

void createOurs(const std::string& file, int n) {
  msfD_Root root(0);
  msfD_Sim sim = root.createSim(file.c_str(), "", 1);
  const ORXSimContextID context = sim.distributionService().Context();
  ORXSimUpdate update(context);
  const msfD_Mesh mesh =
      sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0)).Mesh(msfD_Mesh::New({}, {}, 0));
  const auto systems = mesh.systems();
  const auto fields = userFields(context, 3);
  for (int i = 0; i < n; ++i) {
    fesD_FESystemHolder system = newSystem(context);
    system.Get().UserDistributions(fields); // in memory: the object is bound by add
    systems.add(std::move(system));
  }
  update.Commit();
}

void make(const std::string& who, const std::string& file, int n) {
  static const std::vector<unsigned char> s_stream = streamBytes();
  if (who == "ours")
    createOurs(file, n);
  else
    raw_Objects(who == "rawtuned").Create(file, n, s_stream);
}

void create(benchmark::State& state, const std::string& who) {
  const int n = static_cast<int>(state.range(0));
  const std::string file = fileOf(who, n);
  for (auto _ : state) {
    state.PauseTiming();
    std::filesystem::remove(file);
    state.ResumeTiming();
    make(who, file, n);
  }
  state.counters["bytes/object"] = static_cast<double>(std::filesystem::file_size(file)) / n;
}

void read(benchmark::State& state, const std::string& who) {
  const int n = static_cast<int>(state.range(0));
  const std::string file = fileOf(who, n);
  if (!std::filesystem::exists(file)) // the runs may come in any order
    make(who, file, n);
  long long got = 0;
  for (auto _ : state) {
    if (who != "ours") {
      got = raw_Objects(who == "rawtuned").ReadAll(file, n);
      continue;
    }
    msfD_Root root(0);
    const auto systems = root.openSimReadOnly(file.c_str(), "", -1).discreteModel().mesh().systems();
    got = 0;
    for (int i = 0; i < systems.count(); ++i)
      got += systems.get(i).userDistributions().count();
  }
  if (got == 0)
    state.SkipWithError("nothing read");
}

// A file with n objects is opened and one of them read: must not depend on n.
void openOne(benchmark::State& state, const std::string& who) {
  const int n = static_cast<int>(state.range(0));
  const std::string file = fileOf(who, n);
  if (!std::filesystem::exists(file))
    make(who, file, n);
  for (auto _ : state) {
    if (who != "ours") {
      benchmark::DoNotOptimize(raw_Objects(true).ReadOne(file, n / 2));
      continue;
    }
    msfD_Root root(0);
    const auto systems = root.openSimReadOnly(file.c_str(), "", -1).discreteModel().mesh().systems();
    if (systems.get(n / 2).userDistributions().count() != 4)
      state.SkipWithError("wrong object");
  }
}

void setterOurs(benchmark::State& state, bool scoped) {
  const int n = static_cast<int>(state.range(0));
  const std::string file = fileOf("setter", n);
  createOurs(file, n);
  msfD_Root root(0);
  const msfD_Sim sim = root.openSim(file.c_str(), "", 1);
  const fesD_FESystem system = sim.discreteModel().mesh().systems().get(0);
  const ORXSimContextID context = sim.distributionService().Context();
  int i = 0;
  std::unique_ptr<ORXSimUpdate> update;
  if (scoped)
    update = std::make_unique<ORXSimUpdate>(context);
  for (auto _ : state)
    system.NodalLabels(ORXSimDistributionID(context, ++i & 0xff));
  if (update)
    update->Commit();
}

void setterRaw(benchmark::State& state, bool flush) {
  const int n = static_cast<int>(state.range(0));
  const std::string file = fileOf("rawsetter", n);
  auto stream = streamBytes();
  raw_Objects raw(true);
  raw.Create(file, n, stream);
  raw.OpenForRewrite(file);
  for (auto _ : state) {
    ++stream[20];
    raw.Rewrite(stream, flush);
  }
  raw.Close();
}

[[maybe_unused]] const bool s_registered = [] {
  for (const std::string who : {"ours", "rawtuned", "rawplain"})
    benchmark::RegisterBenchmark(("create_objects/" + who).c_str(),
                                 [who](benchmark::State& s) { create(s, who); })
        ->Arg(1000)
        ->Arg(20000)
        ->MeasureProcessCPUTime()
        ->Unit(benchmark::kMillisecond);
  for (const std::string who : {"ours", "rawtuned", "rawplain"})
    benchmark::RegisterBenchmark(("read_objects/" + who).c_str(),
                                 [who](benchmark::State& s) { read(s, who); })
        ->Arg(1000)
        ->Arg(20000)
        ->MeasureProcessCPUTime()
        ->Unit(benchmark::kMillisecond);
  for (const std::string who : {"ours", "rawtuned"})
    benchmark::RegisterBenchmark(("open_and_read_one/" + who).c_str(),
                                 [who](benchmark::State& s) { openOne(s, who); })
        ->Arg(250)
        ->Arg(1000)
        ->Arg(20000)
        ->MeasureProcessCPUTime()
        ->Unit(benchmark::kMicrosecond);
  for (const bool commit : {false, true}) {
    const std::string work = commit ? "setter_committed/" : "setter_in_scope/";
    benchmark::RegisterBenchmark((work + "ours").c_str(),
                                 [commit](benchmark::State& s) { setterOurs(s, !commit); })
        ->Arg(1000)
        ->Arg(20000)
        ->MeasureProcessCPUTime()
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark((work + "rawtuned").c_str(),
                                 [commit](benchmark::State& s) { setterRaw(s, commit); })
        ->Arg(1000)
        ->Arg(20000)
        ->MeasureProcessCPUTime()
        ->Unit(benchmark::kMicrosecond);
  }
  return true;
}();

} // namespace
