#pragma once

#include "mpi.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// What one rank has done so far.
struct job_Counts {
  std::uint64_t sent = 0, sentBytes = 0;         // messages, those within collective calls as well
  std::uint64_t received = 0, receivedBytes = 0; // likewise
  std::uint64_t turn = 0; // messages that came one after the other until now, here and on the ranks before
  std::uint64_t reads = 0, readBytes = 0, writes = 0, writtenBytes = 0, syncs = 0; // of MPI_File
  std::map<std::string, std::uint64_t> calls;                                      // of MPI, by name
  std::map<std::string, std::uint64_t> system; // calls of the system by the ranks' own code, by name
};

/// Runs the ranks of a job in turns in this thread; each goes on until it waits for a message. A job in which
/// all that are left wait ends the process, with what they wait in: so does one whose ranks make different
/// calls. Collective calls are trees of messages: the lowest rank of 2^k has its 2^(k-1) upper ones by the
/// first of them. Threads: one.
class job_Ranks {
 public:
  using Part = std::pair<int, std::shared_ptr<const std::vector<char>>>; // a rank, and its bytes
  struct Message {
    MPI_Comm comm = nullptr;
    int source = 0;
    long tag = 0;
    const char* call = "";
    std::vector<Part> parts;
    std::uint64_t turn = 0;
  };

  /// Runs a job of `size` ranks to its end.
  static void Run(int size, const std::function<void(int rank)>& program);
  /// Waits until all ranks are here, counting nothing of it.
  static void MeetUncounted();

  static int Size();
  /// The rank that runs; -1 outside a job.
  static int Current();
  static job_Counts& Mine();
  static const job_Counts& Of(int rank);

  static void Send(int dest, Message message);
  /// The first message that fits, waited for.
  /// \param remove  false: it stays, and nothing is counted.
  static Message Receive(MPI_Comm comm, int source, long tag, const char* call, bool remove = true);
};

/// A call of the system or of MPI_File that fails, on one rank.
struct job_Fault {
  int rank = -1;          // -1: none fails
  std::uint64_t call = 0; // which of that rank's, from 0
  bool shortly = false;   // writing by MPI_File does half instead
  std::uint64_t seen = 0; // of them so far
};
extern job_Fault job_fault;
/// Counts a call of the rank that runs.
/// \return true when it is the one that fails.
bool job_Fails();

/// Members of a communicator are all ranks of the job, or one.
struct job_Comm {
  bool alone = false;
  std::map<int, long> steps; // collective calls of each rank
  int users = 0;
};

/// Puts `from` into `into`, number by number.
void job_Combine(void* into, const void* from, int count, MPI_Datatype type, MPI_Op op);
