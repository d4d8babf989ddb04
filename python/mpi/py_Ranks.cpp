#include <mpi/ORXSim_RankTransfer.h>
#include <python/src/py_Session.h>

#include <functional>

// The ranks of a job on a file, for pdm_core/_ranks.py and _rank_fields.py, which ask all ranks whether they
// make the same call before they come here. Each call is collective, and answers what went wrong: "" for
// nothing.

namespace {

/// This rank's rows: in one piece, or a list.
struct Rows {
  std::int64_t first = 0, count = 0;
  std::optional<std::vector<std::int32_t>> list{};
};
Rows rows_of(std::int64_t first, std::int64_t count, const py::object& list) {
  Rows rows{first, count};
  if (!list.is_none()) {
    const auto items = list.cast<py::array_t<std::int32_t, py::array::c_style>>();
    rows.list.emplace(items.data(), items.data() + items.size());
  }
  return rows;
}

class Ranks {
 public:
  /// \param comm  the communicator's number in Fortran, which every make of MPI for Python has.
  /// \param sim   rank 0's Sim, None on all other ranks.
  Ranks(int comm, py::object sim) : m_comm(comm), m_sim(std::move(sim)) {}
  Ranks(const Ranks&) = delete;
  Ranks& operator=(const Ranks&) = delete;
  /// Objects of Python end when each rank's interpreter likes, and letting go of a file is collective: who
  /// does not leave keeps it until the process ends.
  ~Ranks() { static_cast<void>(m_ranks.release()); }

  py_Text join() {
    const ORXSimContextID context =
        m_sim.is_none() ? ORXSimContextID() : ORXSimContextID(m_sim.attr("_context").cast<int>());
    return together([&] {
      m_ranks = std::make_unique<ORXSimRanks>(ORXSimRanks::Join(MPI_Comm_f2c(m_comm), context));
      return !!*m_ranks;
    });
  }
  py_Text leave() {
    return together([&] { return m_ranks->Close(); });
  }
  py_Text funnelled() const { return std::string(m_ranks->FunnelCause()); }

  /// \param distribution  and drawer, count on rank 0.
  /// \param numbers       [rows][components], contiguous and of the drawer's type.
  py_Text read(int distribution, int drawer, std::int64_t first, std::int64_t count, const py::object& list,
               py::array numbers) {
    void* const data = numbers.mutable_data();
    const py::ssize_t bytes = numbers.nbytes();
    return move(distribution, drawer, rows_of(first, count, list), [&](ORXSimRankTransfer& transfer) {
      transfer.SetRead();
      transfer.SetBuffer(drawer, data, bytes);
      return transfer.ExecRead();
    });
  }
  py_Text write(int distribution, int drawer, std::int64_t first, std::int64_t count, const py::object& list,
                const py::array& numbers) {
    const void* const data = numbers.data();
    const py::ssize_t bytes = numbers.nbytes();
    return move(distribution, drawer, rows_of(first, count, list), [&](ORXSimRankTransfer& transfer) {
      transfer.SetWrite();
      transfer.SetBuffer(drawer, data, bytes);
      return transfer.ExecWrite();
    });
  }

 private:
  /// Does work of all ranks without the interpreter's lock; on rank 0 no other thread uses the file
  /// meanwhile.
  template <class Work>
  py_Text together(Work work) {
    std::string cause;
    const std::function<void()> call = [&] {
      const pdm::detail::Lines unheard; // the cause says it
      if (!work())
        cause = ORXSimRanks::LastError();
    };
    if (!m_sim.is_none()) {
      m_sim.attr("_beside")(py::capsule(&call));
    } else {
      const py::gil_scoped_release released;
      call();
    }
    return cause;
  }

  template <class Work>
  py_Text move(int distribution, int drawer, const Rows& rows, Work work) {
    return together([&] {
      const ORXSimContextID context = m_ranks->Context();
      const ORXSimDistributionRef field(context.IsNull() ? ORXSimDistributionID()
                                                         : ORXSimDistributionID(context, distribution));
      ORXSimRankTransfer transfer(*m_ranks, field);
      if (!context.IsNull())
        transfer.SetDim(0, field.Drawer(drawer).CSet());
      rows.list.has_value() ? transfer.SetRows(*rows.list) : transfer.SetRows(rows.first, rows.count);
      return work(transfer);
    });
  }

  int m_comm;
  py::object m_sim;
  std::unique_ptr<ORXSimRanks> m_ranks;
};

std::string library_version() {
  char text[MPI_MAX_LIBRARY_VERSION_STRING] = {};
  int length = 0;
  MPI_Get_library_version(text, &length);
  return text;
}

} // namespace

PYBIND11_MODULE(_pdm_core_mpi, module) {
  py::class_<Ranks>(module, "Ranks")
      .def(py::init<int, py::object>())
      .def("join", &Ranks::join)
      .def("leave", &Ranks::leave)
      .def("funnelled", &Ranks::funnelled)
      .def("read", &Ranks::read)
      .def("write", &Ranks::write);
  module.def("library_version", &library_version);
}
