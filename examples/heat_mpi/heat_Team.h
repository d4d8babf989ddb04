#pragma once

#include <mpi.h>

#include <stdexcept>
#include <string>
#include <vector>

/// What went wrong, on all ranks alike.
struct heat_Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The ranks of the job, and how they agree: what one of them alone knows or fails in, all come to know.
class heat_Team {
 public:
  using Lists = std::vector<std::vector<int>>; // one a rank

  explicit heat_Team(MPI_Comm comm);

  MPI_Comm Comm() const { return m_comm; }
  int Rank() const { return m_rank; }
  int Size() const { return m_size; }
  bool IsRoot() const { return m_rank == 0; }

  // All of these are made by every rank, in the same order.

  /// Does some work on each rank. Throws heat_Failure on all of them when the work throws on any, in the
  /// words of the lowest such rank.
  /// \param work  without any of the calls of this class: a rank that fails leaves them out.
  template <class Work>
  void Together(Work&& work) const {
    std::string cause;
    try {
      work();
    } catch (const std::exception& error) {
      cause = error.what();
      if (cause.empty())
        cause = "a failure without words";
    }
    Agree(cause);
  }
  /// As Together, with work for rank 0 alone.
  template <class Work>
  void OnRoot(Work&& work) const {
    Together([&] {
      if (IsRoot())
        work();
    });
  }
  /// Throws heat_Failure of the last call of ORXSimRanks and its kin, when it answered false.
  static void Require(bool done);

  /// \return rank 0's, on all ranks.
  std::string Told(std::string text) const;
  int Told(int number) const;
  /// \return the sum of all ranks' numbers, the same to the last bit on every rank.
  double Sum(double mine) const { return Reduced(mine, MPI_SUM); }
  double Least(double mine) const { return Reduced(mine, MPI_MIN); }
  double Greatest(double mine) const { return Reduced(mine, MPI_MAX); }
  /// \param lists  what goes to each rank.
  /// \return what came from each.
  Lists Exchange(const Lists& lists) const;

 private:
  void Agree(std::string& cause) const;
  double Reduced(double mine, MPI_Op operation) const;

  MPI_Comm m_comm;
  int m_rank = 0, m_size = 1;
};
