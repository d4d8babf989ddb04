#include <mpi/campaign/mpk_Model.h>
#include <mpi/mpi_File.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Helpers.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// What mpi_campaign.py starts, kills and asks:
//   mpi_worker steps|limit|full FILE BOARD STEPS OPTION   one rank of a job; what it does goes to BOARD
//   mpi_worker verify|loan FILE                           one process that opens the file for writing
//   mpi_worker live FILE                                  one that watches it, until SIGTERM

namespace {

cow_String textOf(const std::string& text) {
  return {text.data(), text.size()};
}

class Worker {
 public:
  Worker(const std::string& mode, const std::string& file, const char* board, int steps, int option)
      : m_mode(mode), m_file(file), m_steps(steps), m_option(option),
        m_board(::open(board, O_WRONLY | O_APPEND | O_CREAT, 0666)) {
    MPI_Comm_rank(MPI_COMM_WORLD, &m_rank);
    MPI_Comm_size(MPI_COMM_WORLD, &m_size);
    Say("rank " + std::to_string(m_rank) + ' ' + std::to_string(::getpid()));
  }
  ~Worker() { ::close(m_board); }

  void Run() {
    struct stat status;
    int there = m_rank == 0 && ::stat(m_file.c_str(), &status) == 0;
    MPI_Bcast(&there, 1, MPI_INT, 0, MPI_COMM_WORLD);
    m_ranks = there != 0 ? ORXSimRanks::Open(MPI_COMM_WORLD, textOf(m_file), 0, 102, false, m_option)
                         : ORXSimRanks::Create(MPI_COMM_WORLD, textOf(m_file), 2, 102, false, m_option);
    Must(!!m_ranks);
    Say("cause " + std::string(m_ranks.FunnelCause()));
    Find();
    while (m_model.Step() < m_steps) {
      if (m_mode != "steps")
        StepWithoutRoom();
      else if (m_model.Step() % 4 == 0)
        TakeBack();
      Step();
    }
    Must(m_ranks.Close());
    Say("done");
  }

 private:
  void Say(const std::string& line) const {
    const std::string whole = line + '\n';
    if (::write(m_board, whole.data(), whole.size()) < 0)
      std::abort();
  }
  void Must(bool good) const {
    if (good)
      return;
    Say("bad rank " + std::to_string(m_rank) + " step " + std::to_string(m_model.Step()) + ": " +
        ORXSimRanks::LastError() + " / " + ORXSimManager::LastError());
    MPI_Abort(MPI_COMM_WORLD, 2);
  }

  // Where the file stands.
  void Find() {
    double step = 0;
    m_field = {};
    if (m_rank == 0) {
      m_field = ORXSimStore(m_ranks.Context()).FindDistribution(textOf("field"));
      if (!m_field.IsNull())
        Must(Field().ReadItems(0, 0, 1, &step, sizeof step));
    }
    MPI_Bcast(&step, 1, MPI_DOUBLE, 0, MPI_COMM_WORLD);
    m_model = mpk_Model(static_cast<int>(step));
  }

  ORXSimDistributionRef Field() const { return ORXSimDistributionRef(m_field); }

  // What rank 0 does alone: new drawers, single rows, and the step.
  bool RankZero(const mpk_Model& next) {
    if (m_rank != 0)
      return true;
    const int step = next.Step();
    for (int drawer = 0; drawer < next.Drawers(); ++drawer) {
      const mpk_Shape& shape = kMpkShapes[drawer];
      if (shape.birth == step) {
        ORXSimDrawerDescription made;
        made.members =
            ORXSimCollectionRef(ORXSimCollectionRef::Create(
                                    m_ranks.Context(), textOf("set" + std::to_string(drawer)), shape.rows))
                .FullCSet();
        made.components = shape.components;
        if (m_field.IsNull())
          m_field = ORXSimDistributionRef::Create(m_ranks.Context(), textOf("field"), {}, nullptr, 0);
        if (Field().AddDrawer(made) != drawer)
          return false;
      }
      const int row = drawer == 0 ? 0 : mpk_Model::Touches(step, drawer);
      const std::vector<double> numbers = row < 0 ? std::vector<double>() : next.Numbers(drawer, {row});
      if (row >= 0 && !Field().WriteItems(drawer, row, 1, numbers.data(),
                                          static_cast<std::int64_t>(numbers.size() * sizeof(double))))
        return false;
    }
    return true;
  }

  ORXSimRankTransfer Transfer(int drawer, mpi_Split split, const std::vector<std::int32_t>& rows) const {
    ORXSimRankTransfer transfer(m_ranks, Field());
    if (m_rank == 0)
      transfer.SetDim(0, Field().Drawer(drawer).CSet());
    mpi_SetRows(transfer, split, rows);
    return transfer;
  }

  bool Write(int drawer, const mpk_Model& next) const {
    const auto split = static_cast<mpi_Split>((next.Step() + drawer) % 5);
    const auto rows = mpi_RowsOf(split, kMpkShapes[drawer].rows, m_rank, m_size);
    const auto numbers = next.Numbers(drawer, rows);
    ORXSimRankTransfer transfer = Transfer(drawer, split, rows);
    transfer.SetWrite();
    transfer.SetBuffer(drawer, numbers.data(), static_cast<std::int64_t>(numbers.size() * sizeof(double)));
    return transfer.ExecWrite();
  }

  bool WriteAll(const mpk_Model& next) const {
    for (int drawer = 1; drawer < next.Drawers(); ++drawer)
      if (mpk_Model::Writes(next.Step(), drawer) && !Write(drawer, next))
        return false;
    return true;
  }

  // What the ranks read is what the model says.
  void Look(const mpk_Model& model, int drawer) const {
    if (drawer >= model.Drawers())
      return;
    const auto split = static_cast<mpi_Split>((model.Step() + 2 * drawer) % 5);
    const auto rows = mpi_RowsOf(split, kMpkShapes[drawer].rows, m_rank, m_size);
    const auto expected = model.Numbers(drawer, rows);
    std::vector<double> found(expected.size());
    ORXSimRankTransfer transfer = Transfer(drawer, split, rows);
    transfer.SetRead();
    transfer.SetBuffer(drawer, found.data(), static_cast<std::int64_t>(found.size() * sizeof(double)));
    Must(transfer.ExecRead());
    if (found == expected)
      return;
    Say("bad rank " + std::to_string(m_rank) + " read wrong numbers of drawer " + std::to_string(drawer));
    MPI_Abort(MPI_COMM_WORLD, 2);
  }
  void LookAtAll(const mpk_Model& model) const {
    for (int drawer = 0; drawer < model.Drawers(); ++drawer)
      Look(model, drawer);
  }

  void Step() {
    mpk_Model next = m_model;
    next.Advance();
    ORXSimRankUpdate update(m_ranks);
    Must(RankZero(next));
    Must(WriteAll(next));
    Look(next, next.Step() % kMpkDrawers);
    Must(update.Commit());
    if (m_rank == 0)
      Say("ack " + std::to_string(next.Step()));
    m_model = next;
    Look(m_model, (m_model.Step() + 5) % kMpkDrawers);
  }

  // An update that comes to nothing because one rank does not want it.
  void TakeBack() {
    mpk_Model wrong = m_model;
    wrong.Advance();
    wrong.Spoil();
    {
      ORXSimRankUpdate update(m_ranks);
      Must(RankZero(wrong));
      Must(WriteAll(wrong));
      Must(!update.Commit(m_rank != m_size - 1));
    }
    Forget();
  }

  // An update for which one rank, or the disk, may have no room. All ranks say the same of it.
  void StepWithoutRoom() {
    mpk_Model next = m_model;
    next.Advance();
    bool good = false;
    {
      ORXSimRankUpdate update(m_ranks);
      good = RankZero(next);
      MPI_Bcast(&good, 1, MPI_C_BOOL, 0, MPI_COMM_WORLD);
      const NoRoom noRoom(*this, m_model.Step() % m_size);
      good = good && Same(WriteAll(next)) && Same(update.Commit());
    }
    if (m_rank == 0)
      Say(good ? "ack " + std::to_string(next.Step()) : std::string("failed ") + ORXSimRanks::LastError());
    if (good)
      m_model = next;
    Forget();
  }

  // The outcome, where all ranks have the same one and the same words for it.
  bool Same(bool mine) const {
    int all[2] = {mine, !mine};
    MPI_Allreduce(MPI_IN_PLACE, all, 2, MPI_INT, MPI_MAX, MPI_COMM_WORLD);
    char first[512] = {}, own[512] = {};
    std::string(ORXSimRanks::LastError()).copy(own, sizeof own - 1);
    std::memcpy(first, own, sizeof first);
    MPI_Bcast(first, sizeof first, MPI_CHAR, 0, MPI_COMM_WORLD);
    if (all[0] + all[1] == 2 || (!mine && std::strcmp(first, own) != 0)) {
      Say("bad rank " + std::to_string(m_rank) + " has another outcome: " + own);
      MPI_Abort(MPI_COMM_WORLD, 2);
    }
    return mine;
  }

  void Forget() {
    const int before = m_model.Step();
    Find();
    Must(m_model.Step() == before);
    LookAtAll(m_model);
  }

  // As long as it lives, a rank or the disk takes nothing more.
  struct NoRoom {
    NoRoom(const Worker& worker, int rank) : filler(worker.m_file + ".filler") {
      ::getrlimit(RLIMIT_FSIZE, &before);
      rlimit few = before;
      few.rlim_cur = 1 << 12;
      if (worker.m_mode == "limit" && worker.m_rank == rank)
        ::setrlimit(RLIMIT_FSIZE, &few);
      if (worker.m_mode == "full" && worker.m_rank == 0) {
        const int file = ::open(filler.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
        off_t end = 0;
        for (off_t piece = 1 << 20; piece >= 4096; piece /= 2)
          while (::posix_fallocate(file, end, piece) == 0)
            end += piece;
        ::close(file);
      }
      MPI_Barrier(MPI_COMM_WORLD);
    }
    NoRoom(const NoRoom&) = delete;
    NoRoom& operator=(const NoRoom&) = delete;
    ~NoRoom() {
      ::setrlimit(RLIMIT_FSIZE, &before);
      MPI_Barrier(MPI_COMM_WORLD);
      ::unlink(filler.c_str());
    }
    std::string filler;
    rlimit before;
  };

  std::string m_mode, m_file;
  int m_steps, m_option, m_board, m_rank = 0, m_size = 1;
  ORXSimRanks m_ranks;
  ORXSimDistributionID m_field;
  mpk_Model m_model;
};

int tell(const char* word, const std::string& text, int code) {
  std::printf("%s %s\n", word, text.c_str());
  return code;
}

int verify(const std::string& file) {
  const ORXSimContextID context = ORXSimManager::OpenContext(textOf(file), 0, 102, false, 1);
  if (context.IsNull())
    return tell("refused", ORXSimManager::LastError(), 3);
  std::string cause;
  const int step = mpk_Model::Check(context, cause);
  if (step < 0 || !ORXSimManager::CloseContext(context))
    return tell("bad", step < 0 ? cause : ORXSimManager::LastError(), 1);
  return tell("step", std::to_string(step), 0);
}

// Nothing is committed while a drawer is lent, and nothing of a loan that is left stays.
int loan(const std::string& file) {
  const ORXSimContextID context = ORXSimManager::OpenContext(textOf(file), 0, 102, false, 1);
  std::string cause;
  if (context.IsNull())
    return tell("refused", ORXSimManager::LastError(), 3);
  {
    ORXSimUpdate update(context);
    ORXSimDrawerLoan lent;
    ORXSimDrawerPlace place;
    const ORXSimDistributionID field = ORXSimStore(context).FindDistribution(textOf("field"));
    if (!lent.Begin(field, 2, place) || !place.direct)
      return tell("refused", ORXSimManager::LastError(), 3);
    if (update.Commit())
      return tell("bad", "committed while a drawer is lent", 1);
  }
  const int step = mpk_Model::Check(context, cause);
  return step < 0 ? tell("bad", cause, 1) : tell("step", std::to_string(step), 0);
}

volatile std::sig_atomic_t s_ends = 0;

int watch(const std::string& file) {
  std::signal(SIGTERM, [](int) { s_ends = 1; });
  ORXSimContextID context;
  int snapshots = 0, last = 0;
  for (std::string cause; s_ends == 0;) {
    const bool shown = context.IsNull()
                           ? !(context = ORXSimManager::OpenContext(textOf(file), 1, 102, false, 3)).IsNull()
                           : ORXSimManager::Refresh(context);
    if (!shown) {
      ORXSimManager::CloseContext(context);
      context = {};
      ::usleep(20000);
      continue;
    }
    const int step = ORXSimStore(context).FindDistribution(textOf("field")).IsNull()
                         ? 0
                         : mpk_Model::Check(context, cause);
    if (step < last)
      return tell("bad", "snapshot after step " + std::to_string(last) + ": " + cause, 1);
    last = step;
    ++snapshots;
  }
  return tell("snapshots", std::to_string(snapshots), 0);
}

} // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 2 ? argv[1] : "";
  if (mode == "verify")
    return verify(argv[2]);
  if (mode == "loan")
    return loan(argv[2]);
  if (mode == "live")
    return watch(argv[2]);
  if (argc != 6)
    return 2;
  std::signal(SIGXFSZ, SIG_IGN);
  MPI_Init(&argc, &argv);
  Worker(mode, argv[2], argv[3], std::atoi(argv[4]), std::atoi(argv[5])).Run();
  MPI_Finalize();
  return 0;
}
