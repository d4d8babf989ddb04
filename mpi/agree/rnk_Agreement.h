#pragma once

#include <mpi.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

/// What ranks say to each other so that all of them go the same way: no rank acts on a status of its own.
/// Every call here is collective over the communicator.
/// Threads: one at a time for one communicator.
class rnk_Agreement {
 public:
  rnk_Agreement() = default;
  explicit rnk_Agreement(MPI_Comm comm);

  MPI_Comm Comm() const { return m_comm; }
  int Rank() const { return m_rank; }
  int Size() const { return m_size; }
  bool IsRoot() const { return m_rank == 0; }

  /// True when every rank says true. Else the cause of the lowest rank that says false becomes the last
  /// error of all of them.
  /// \param cause  looked at only where `mine` is false.
  bool All(bool mine, const std::string& cause) const;
  /// The same for what is no error.
  /// \param first  becomes that rank's cause.
  bool Everybody(bool mine, const std::string& cause, std::string& first) const;
  /// True when rank 0 says true. Else its cause is everybody's last error.
  bool Root(bool root, const std::string& cause) const;

  /// Rank 0's bytes to all.
  void Share(void* bytes, std::size_t count) const;
  template <class Value>
  void Share(Value& value) const {
    Share(&value, sizeof value);
  }
  /// Rank 0's text to all.
  void Share(std::string& text) const;
  /// One number of each rank, by rank, on all.
  std::vector<std::int64_t> Gather(std::int64_t mine) const;

  /// The last error of this thread, the same text on every rank; "" when none was.
  static const std::string& LastError();
  /// Keeps a text as the last error. Not collective: only for what all ranks know alike.
  static void SetLastError(const std::string& text);
  static void ClearLastError();

 private:
  MPI_Comm m_comm = MPI_COMM_NULL;
  int m_rank = 0, m_size = 1;
};

/// Runs the work of one rank.
/// \return what it says; false, with the cause told, where memory was lacking.
template <class Work>
bool rnk_Try(std::string& cause, Work work) {
  try {
    return work();
  } catch (const std::exception&) {
    cause = "out of memory";
    return false;
  }
}
