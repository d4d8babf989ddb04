// What processes that help the one with the file need: H5Journal.h tells.

#include <H5Journal/H5Journal.h>

#include <H5Journal/commit/vfd_Store.h>
#include <H5Journal/driver/vfd_Driver.h>
#include <H5Journal/driver/vfd_Hold.h>
#include <H5Journal/files/vfd_Cause.h>
#include <H5Journal/opening/vfd_Locks.h>

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <linux/magic.h>
#include <string>
#include <sys/vfs.h>
#include <unistd.h>

struct H5J_help_t {
  vfd_Descriptor file;
};

namespace {
// What several machines see of such a file at once is up to it, and not what a helper needs.
bool isRemote(int descriptor) {
  struct statfs status {};
  if (::fstatfs(descriptor, &status) != 0)
    return true;
  constexpr std::uint32_t kRemote[] = {NFS_SUPER_MAGIC, SMB_SUPER_MAGIC,  CIFS_SUPER_MAGIC, SMB2_SUPER_MAGIC,
                                       AFS_SUPER_MAGIC, CODA_SUPER_MAGIC, V9FS_MAGIC,       FUSE_SUPER_MAGIC};
  return std::find(std::begin(kRemote), std::end(kRemote), static_cast<std::uint32_t>(status.f_type)) !=
         std::end(kRemote);
}

bool share(vfd_Store& store, H5J_share_t& share) {
  share = {};
  // The system follows the file through renaming.
  const std::string link = "/proc/self/fd/" + std::to_string(store.Main().Get());
  const ssize_t length = ::readlink(link.c_str(), share.name, sizeof share.name - 1);
  std::size_t got = 0;
  if (length <= 0 || static_cast<std::size_t>(length) >= sizeof share.name - 1)
    return vfd_Fail("find the file's name");
  if (!vfd_ReadAt(store.Main().Get(), share.sector, sizeof share.sector, 0, got))
    return vfd_Fail("read");
  share.reads = store.ReadOnly();
  share.live = store.Live();
  share.power = store.Power();
  share.session = store.ShowSelf();
  return true;
}

// Taken before the file is looked at, so that what is seen stays.
bool take(const H5J_share_t& share, int file, unsigned number) {
  const auto lock = !share.reads ? vfd_Locks::TakeHelper(file, number)
                    : share.live ? vfd_Locks::ShareReaders(file)
                                 : vfd_Locks::TakeFile(file, true);
  switch (lock) {
  case vfd_Locks::Result::kTaken:
    return true;
  case vfd_Locks::Result::kUnsupported:
    return vfd_Refuse("its file system has no locks");
  case vfd_Locks::Result::kHeld:
    return vfd_Refuse("another process has the file open");
  case vfd_Locks::Result::kFailed:
    break;
  }
  return vfd_Fail("lock the file");
}

bool isTheSame(const H5J_share_t& share, int file) {
  unsigned char sector[H5J_SECTOR_BYTES] = {};
  std::size_t got = 0;
  if (!vfd_ReadAt(file, sector, sizeof sector, 0, got))
    return vfd_Fail("read");
  // A copy on another disk has the same bytes, and not the lock of the one that shares it. Nor has a file
  // that is another writer's by now.
  return (std::memcmp(sector, share.sector, sizeof sector) == 0 &&
          vfd_Locks::HasSession(file, share.session)) ||
         vfd_Refuse("a file of the same name that is another one");
}
} // namespace

herr_t H5Jshare(H5J_hold_t* hold, H5J_share_t* told) {
  return vfd_Call(-1, [&] { return share(*hold->store, *told) ? 0 : -1; });
}

H5J_help_t* H5Jhelp(const H5J_share_t* told, unsigned number) {
  return vfd_Call<H5J_help_t*>(nullptr, [&]() -> H5J_help_t* {
    auto help = std::make_unique<H5J_help_t>();
    help->file =
        vfd_Descriptor(::open(told->name, (told->reads ? O_RDONLY : O_RDWR) | O_CLOEXEC | O_NOFOLLOW));
    const int file = help->file.Get();
    if (!help->file.IsOpen())
      return vfd_Fail("open"), nullptr;
    if (isRemote(file))
      return vfd_Refuse("it lies on a network file system"), nullptr;
    if (number >= vfd_Locks::kMostHelpers)
      return vfd_Refuse("there is no helper of that number"), nullptr;
    return take(*told, file, number) && isTheSame(*told, file) ? help.release() : nullptr;
  });
}

void H5Jend_help(H5J_help_t* help) {
  delete help;
}

htri_t H5Jlend(H5J_hold_t* hold, uint64_t address, uint64_t count, uint64_t* first, uint64_t* end) {
  return vfd_Call<htri_t>(-1, [&] {
    const auto loan = hold->store->Lend(address, count, *first, *end);
    return loan == vfd_Store::Loan::kFailed ? -1 : loan == vfd_Store::Loan::kLent ? 1 : 0;
  });
}

herr_t H5Jput(H5J_hold_t* hold, uint64_t address, uint64_t count, const void* bytes) {
  return vfd_Call(-1, [&] { return hold->store->PutLent(address, count, bytes) ? 0 : -1; });
}

herr_t H5Jtake_back(H5J_hold_t* hold, hbool_t good) {
  return vfd_Call(-1, [&] { return hold->store->EndLoan(good) ? 0 : -1; });
}

herr_t H5Jpatches(H5J_hold_t* hold, uint64_t address, uint64_t count, H5J_take_patch_t take, void* context) {
  return vfd_Call(-1, [&] {
    const bool told =
        hold->store->ForEachPatch(address, count, [&](std::uint64_t at, const unsigned char* bytes) {
          return take(at, bytes, context) >= 0;
        });
    return told ? 0 : -1;
  });
}
