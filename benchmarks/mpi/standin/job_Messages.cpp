#include "job_Ranks.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// Communicators, types, and messages between two ranks.

job_Comm job_world, job_self{true, {}, 0};
const job_Type job_types[] = {{0, 1}, {1, 1}, {2, 4}, {3, 4}, {4, 8}, {5, 8}, {6, 8}, {7, 1}};

namespace {
template <class Value>
Value combined(Value one, Value other, MPI_Op op) {
  switch (op) {
  case MPI_MIN:
    return std::min(one, other);
  case MPI_MAX:
    return std::max(one, other);
  case MPI_SUM:
    return static_cast<Value>(one + other);
  case MPI_LAND:
    return static_cast<Value>(one != 0 && other != 0);
  case MPI_LOR:
    return static_cast<Value>(one != 0 || other != 0);
  default:
    break;
  }
  if constexpr (std::is_integral_v<Value>)
    return static_cast<Value>(op == MPI_BAND ? one & other : one | other);
  return one;
}

template <class Value>
void combine(void* into, const void* from, int count, MPI_Op op) {
  for (int i = 0; i < count; ++i) {
    Value one, other;
    char* at = static_cast<char*>(into) + static_cast<std::size_t>(i) * sizeof(Value);
    std::memcpy(&one, at, sizeof one);
    std::memcpy(&other, static_cast<const char*>(from) + static_cast<std::size_t>(i) * sizeof(Value),
                sizeof other);
    one = combined(one, other, op);
    std::memcpy(at, &one, sizeof one);
  }
}

void fill(MPI_Status* status, const job_Ranks::Message& message) {
  if (status != MPI_STATUS_IGNORE)
    *status = {message.source, static_cast<int>(message.tag), MPI_SUCCESS,
               static_cast<long long>(message.parts[0].second->size())};
}
} // namespace

struct job_Request {
  void* data = nullptr; // null: sent already
  std::size_t room = 0;
  int source = 0, tag = 0;
  MPI_Comm comm = nullptr;
};

void job_Combine(void* into, const void* from, int count, MPI_Datatype type, MPI_Op op) {
  using Combine = void (*)(void*, const void*, int, MPI_Op);
  constexpr Combine kOf[] = {combine<unsigned char>, combine<char>,         combine<std::int32_t>,
                             combine<std::uint32_t>, combine<std::int64_t>, combine<std::uint64_t>,
                             combine<double>,        combine<unsigned char>};
  kOf[type->base](into, from, count, op);
}

int MPI_Init(int*, char***) {
  return MPI_SUCCESS;
}

int MPI_Init_thread(int*, char***, int required, int* provided) {
  *provided = required;
  return MPI_SUCCESS;
}

int MPI_Initialized(int* flag) {
  *flag = 1;
  return MPI_SUCCESS;
}

int MPI_Finalized(int* flag) {
  *flag = 0;
  return MPI_SUCCESS;
}

int MPI_Finalize() {
  return MPI_SUCCESS;
}

int MPI_Abort(MPI_Comm, int code) {
  std::exit(code);
}

double MPI_Wtime() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

int MPI_Get_processor_name(char* name, int* length) {
  std::strcpy(name, "localhost");
  *length = static_cast<int>(std::strlen(name));
  return MPI_SUCCESS;
}

int MPI_Error_string(int code, char* text, int* length) {
  *length = std::snprintf(text, MPI_MAX_ERROR_STRING, "error %d", code);
  return MPI_SUCCESS;
}

int MPI_Error_class(int code, int* errorClass) {
  *errorClass = code;
  return MPI_SUCCESS;
}

int MPI_Comm_rank(MPI_Comm comm, int* rank) {
  *rank = comm->alone ? 0 : job_Ranks::Current();
  return MPI_SUCCESS;
}

int MPI_Comm_size(MPI_Comm comm, int* size) {
  *size = comm->alone ? 1 : job_Ranks::Size();
  return MPI_SUCCESS;
}

int MPI_Comm_dup(MPI_Comm comm, MPI_Comm* copy) {
  int rank = 0, size = 1;
  MPI_Comm_rank(comm, &rank);
  MPI_Comm_size(comm, &size);
  if (rank == 0)
    *copy = new job_Comm{comm->alone, {}, size};
  return MPI_Bcast(copy, sizeof *copy, MPI_BYTE, 0, comm);
}

int MPI_Comm_free(MPI_Comm* comm) {
  if (--(*comm)->users == 0)
    delete *comm;
  *comm = MPI_COMM_NULL;
  return MPI_SUCCESS;
}

int MPI_Comm_set_errhandler(MPI_Comm, MPI_Errhandler) {
  return MPI_SUCCESS;
}

int MPI_Comm_get_errhandler(MPI_Comm, MPI_Errhandler* handler) {
  *handler = MPI_ERRORS_ARE_FATAL;
  return MPI_SUCCESS;
}

int MPI_Errhandler_free(MPI_Errhandler*) {
  return MPI_SUCCESS;
}

int MPI_Type_contiguous(int count, MPI_Datatype of, MPI_Datatype* type) {
  *type = new job_Type{of->base, of->bytes * static_cast<std::size_t>(count)};
  return MPI_SUCCESS;
}

int MPI_Type_commit(MPI_Datatype*) {
  return MPI_SUCCESS;
}

int MPI_Type_free(MPI_Datatype* type) {
  delete *type;
  *type = MPI_DATATYPE_NULL;
  return MPI_SUCCESS;
}

int MPI_Type_size(MPI_Datatype type, int* size) {
  *size = static_cast<int>(type->bytes);
  return MPI_SUCCESS;
}

int MPI_Get_count(const MPI_Status* status, MPI_Datatype type, int* count) {
  *count = static_cast<int>(static_cast<std::size_t>(status->bytes) / type->bytes);
  return MPI_SUCCESS;
}

int MPI_Get_elements_x(const MPI_Status* status, MPI_Datatype, MPI_Count* count) {
  *count = status->bytes;
  return MPI_SUCCESS;
}

int MPI_Send(const void* data, int count, MPI_Datatype type, int dest, int tag, MPI_Comm comm) {
  const auto* from = static_cast<const char*>(data);
  ++job_Ranks::Mine().calls["MPI_Send"];
  auto bytes =
      std::make_shared<const std::vector<char>>(from, from + static_cast<std::size_t>(count) * type->bytes);
  job_Ranks::Send(dest, {comm, 0, tag, "MPI_Send", {{dest, std::move(bytes)}}, 0});
  return MPI_SUCCESS;
}

int MPI_Recv(void* data, int count, MPI_Datatype type, int source, int tag, MPI_Comm comm,
             MPI_Status* status) {
  const auto message = job_Ranks::Receive(comm, source, tag, "MPI_Recv");
  const auto& bytes = *message.parts[0].second;
  std::memcpy(data, bytes.data(), std::min(bytes.size(), static_cast<std::size_t>(count) * type->bytes));
  fill(status, message);
  return MPI_SUCCESS;
}

int MPI_Sendrecv(const void* data, int count, MPI_Datatype type, int dest, int tag, void* got, int room,
                 MPI_Datatype gotType, int source, int gotTag, MPI_Comm comm, MPI_Status* status) {
  MPI_Send(data, count, type, dest, tag, comm);
  return MPI_Recv(got, room, gotType, source, gotTag, comm, status);
}

int MPI_Isend(const void* data, int count, MPI_Datatype type, int dest, int tag, MPI_Comm comm,
              MPI_Request* request) {
  *request = new job_Request;
  return MPI_Send(data, count, type, dest, tag, comm);
}

int MPI_Irecv(void* data, int count, MPI_Datatype type, int source, int tag, MPI_Comm comm,
              MPI_Request* request) {
  *request = new job_Request{data, static_cast<std::size_t>(count) * type->bytes, source, tag, comm};
  return MPI_SUCCESS;
}

int MPI_Wait(MPI_Request* request, MPI_Status* status) {
  if (*request == MPI_REQUEST_NULL)
    return MPI_SUCCESS;
  const job_Request it = **request;
  delete *request;
  *request = MPI_REQUEST_NULL;
  if (it.data == nullptr)
    return MPI_SUCCESS;
  return MPI_Recv(it.data, static_cast<int>(it.room), MPI_BYTE, it.source, it.tag, it.comm, status);
}

int MPI_Waitall(int count, MPI_Request* requests, MPI_Status* statuses) {
  for (int i = 0; i < count; ++i)
    MPI_Wait(requests + i, statuses == MPI_STATUSES_IGNORE ? MPI_STATUS_IGNORE : statuses + i);
  return MPI_SUCCESS;
}

int MPI_Probe(int source, int tag, MPI_Comm comm, MPI_Status* status) {
  fill(status, job_Ranks::Receive(comm, source, tag, "MPI_Probe", false));
  return MPI_SUCCESS;
}
