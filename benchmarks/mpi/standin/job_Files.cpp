#include "job_Ranks.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

// MPI_File by plain calls of the system, which are not counted as the ranks' own. Ranks share a descriptor of
// a name.

struct job_File {
  std::string name;
  int mode = 0, descriptor = -1, users = 0;
};

namespace {
std::vector<std::unique_ptr<job_File>> s_files;

int system(int mode) {
  const int create = (mode & MPI_MODE_CREATE) != 0 ? O_CREAT : 0;
  return create | O_CLOEXEC | ((mode & MPI_MODE_RDONLY) != 0 ? O_RDONLY : O_RDWR);
}

/// Moves all bytes by `call`. \return how many, up to the end of the file.
template <class Call>
std::size_t moveAll(std::size_t bytes, Call call) {
  std::size_t done = 0;
  while (done < bytes) {
    const long now = call(done, bytes - done);
    if (now <= 0)
      break;
    done += static_cast<std::size_t>(now);
  }
  return done;
}

int answer(MPI_Status* status, std::size_t done) {
  if (status != MPI_STATUS_IGNORE)
    status->bytes = static_cast<long long>(done);
  return MPI_SUCCESS;
}
} // namespace

int MPI_Info_create(MPI_Info* info) {
  *info = 1;
  return MPI_SUCCESS;
}

int MPI_Info_set(MPI_Info, const char*, const char*) {
  return MPI_SUCCESS;
}

int MPI_Info_free(MPI_Info* info) {
  *info = MPI_INFO_NULL;
  return MPI_SUCCESS;
}

int MPI_File_open(MPI_Comm comm, const char* name, int mode, MPI_Info, MPI_File* file) {
  ++job_Ranks::Mine().calls["MPI_File_open"];
  if (job_Fails())
    return MPI_ERR_IO;
  if (!comm->alone)
    MPI_Barrier(comm);
  const auto found = std::find_if(s_files.begin(), s_files.end(),
                                  [&](const auto& it) { return it->name == name && it->mode == mode; });
  if (found != s_files.end()) {
    *file = found->get();
    ++(*file)->users;
    return MPI_SUCCESS;
  }
  const long descriptor = syscall(SYS_openat, AT_FDCWD, name, system(mode), 0666);
  if (descriptor < 0)
    return MPI_ERR_IO;
  s_files.push_back(std::make_unique<job_File>(job_File{name, mode, static_cast<int>(descriptor), 1}));
  *file = s_files.back().get();
  return MPI_SUCCESS;
}

int MPI_File_close(MPI_File* file) {
  if (--(*file)->users == 0) {
    syscall(SYS_close, (*file)->descriptor);
    s_files.erase(
        std::find_if(s_files.begin(), s_files.end(), [&](const auto& it) { return it.get() == *file; }));
  }
  *file = MPI_FILE_NULL;
  return MPI_SUCCESS;
}

int MPI_File_set_errhandler(MPI_File, MPI_Errhandler) {
  return MPI_SUCCESS;
}

int MPI_File_set_atomicity(MPI_File, int) {
  return MPI_SUCCESS;
}

int MPI_File_get_size(MPI_File file, MPI_Offset* size) {
  struct stat status {};
  if (::fstat(file->descriptor, &status) != 0)
    return MPI_ERR_IO;
  *size = status.st_size;
  return MPI_SUCCESS;
}

int MPI_File_read_at(MPI_File file, MPI_Offset at, void* data, int count, MPI_Datatype type,
                     MPI_Status* status) {
  if (job_Fails())
    return MPI_ERR_IO;
  const std::size_t done =
      moveAll(static_cast<std::size_t>(count) * type->bytes, [&](std::size_t from, std::size_t bytes) {
        return syscall(SYS_pread64, file->descriptor, static_cast<char*>(data) + from, bytes,
                       at + static_cast<MPI_Offset>(from));
      });
  job_Counts& mine = job_Ranks::Mine();
  ++mine.reads;
  mine.readBytes += done;
  return answer(status, done);
}

int MPI_File_write_at(MPI_File file, MPI_Offset at, const void* data, int count, MPI_Datatype type,
                      MPI_Status* status) {
  const bool fails = job_Fails();
  if (fails && !job_fault.shortly)
    return MPI_ERR_IO;
  const std::size_t bytes = static_cast<std::size_t>(count) * type->bytes / (fails ? 2 : 1);
  const std::size_t done = moveAll(bytes, [&](std::size_t from, std::size_t left) {
    return syscall(SYS_pwrite64, file->descriptor, static_cast<const char*>(data) + from, left,
                   at + static_cast<MPI_Offset>(from));
  });
  job_Counts& mine = job_Ranks::Mine();
  ++mine.writes;
  mine.writtenBytes += done;
  answer(status, done);
  return done == bytes ? MPI_SUCCESS : MPI_ERR_IO;
}

int MPI_File_sync(MPI_File file) {
  ++job_Ranks::Mine().syncs;
  if (job_Fails())
    return MPI_ERR_IO;
  return syscall(SYS_fdatasync, file->descriptor) == 0 ? MPI_SUCCESS : MPI_ERR_IO;
}
