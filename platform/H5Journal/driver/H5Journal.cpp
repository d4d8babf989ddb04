#include <H5Journal/H5Journal.h>

#include <H5Journal/commit/vfd_Store.h>
#include <H5Journal/driver/vfd_Driver.h>
#include <H5Journal/driver/vfd_Hold.h>
#include <H5Journal/files/vfd_Cause.h>
#include <H5Journal/files/vfd_Checksum.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {
constexpr herr_t kFailed = -1;

herr_t answer(bool good) {
  return good ? 0 : kFailed;
}

// The innermost thing that HDF5 has to say; right after its call.
herr_t takeInnermost(unsigned, const H5E_error2_t* error, void*) {
  if (error->desc != nullptr && *error->desc != '\0')
    vfd_Refuse(error->desc);
  return 1; // the first is the innermost
}

// HDF5 has failed: its own cause counts where we have none.
bool refuseByHdf5(const char* what) {
  if (vfd_LastCause().Empty())
    H5Ewalk2(H5E_DEFAULT, H5E_WALK_UPWARD, &takeInnermost, nullptr);
  return !vfd_LastCause().Empty() ? false : vfd_Refuse(what);
}

hid_t answer(hid_t file, const char* what) {
  if (file < 0)
    refuseByHdf5(what);
  return file;
}

vfd_Store* storeOf(hid_t file) {
  vfd_Store* const store = vfd_Driver::StoreOf(file);
  if (store == nullptr)
    vfd_Refuse("the file is not open through the journal");
  return store;
}

// What HDF5 does not use right after a flush, the commit point made of it does not know.
void noteFreeSpace(vfd_Store& store, hid_t file) {
  constexpr hssize_t kWorthIt = 256 << 10;
  if (!store.WantsFreeSpace() || H5Fget_freespace(file) < kWorthIt)
    return;
  const ssize_t count = H5Fget_free_sections(file, H5FD_MEM_DEFAULT, 0, nullptr);
  if (count <= 0)
    return;
  std::vector<H5F_sect_info_t> sections(static_cast<std::size_t>(count));
  const ssize_t got = H5Fget_free_sections(file, H5FD_MEM_DEFAULT, sections.size(), sections.data());
  vfd_FreeSpace space;
  for (ssize_t i = 0; i < got && i < count; ++i) {
    const H5F_sect_info_t& section = sections[static_cast<std::size_t>(i)];
    space.Add({store.Superblock() + section.addr, store.Superblock() + section.addr + section.size});
  }
  space.Sort();
  store.SetFreeSpace(std::move(space));
}

// After a death HDF5 believes the list of free space that it last wrote, whatever was committed since.
bool keepsFreeSpace(hid_t file) {
  H5F_fspace_strategy_t strategy{};
  hbool_t persists = false;
  hsize_t threshold = 0;
  const hid_t properties = H5Fget_create_plist(file);
  const bool known = H5Pget_file_space_strategy(properties, &strategy, &persists, &threshold) >= 0;
  H5Pclose(properties);
  return known && persists;
}

bool commit(vfd_Store& store, hid_t file) {
  if (store.ReadOnly())
    return true;
  if (store.Forked())
    return vfd_Refuse("the file belongs to another process");
  if (store.IsFirstCommit() && keepsFreeSpace(file))
    store.Bar("the file has persistent free space, which HDF5 does not keep right when a program dies");
  if (H5Fflush(file, H5F_SCOPE_LOCAL) < 0) {
    refuseByHdf5("HDF5 could not flush the file");
    store.HasFailed();
    return false;
  }
  if (!store.Commit())
    return false;
  vfd_Try(false, [&] { return noteFreeSpace(store, file), true; });
  if (!store.Note().empty())
    vfd_Refuse(store.Note());
  return true;
}

herr_t answerCommit(vfd_Store& store, hid_t file) {
  return !commit(store, file) ? kFailed : store.IsPoisoned() ? 1 : 0;
}

// Closes it with everything open in it, also where an exhausted memory has left a reference.
bool closeAll(hid_t file) {
  while (H5Iget_ref(file) > 1)
    H5Idec_ref(file);
  return H5Fclose(file) >= 0;
}

void describe(const vfd_Store& store, H5J_info_t& info) {
  info = {};
  const vfd_Mark& mark = store.Main().Mark();
  info.sequence = store.Sequence();
  info.image_bytes = store.CommittedEnd();
  info.journal_bytes = store.JournalBytes();
  info.generation = mark.present ? mark.current : store.Journal().IsOpen() ? store.Journal().Generation() : 0;
  info.marked = mark.present && !mark.isNew;
  info.is_new = store.IsNew();
  info.may_commit = store.MayRetry();
  info.poisoned = store.IsPoisoned();
  info.forked = store.Forked();
  vfd_PutText(info.obstacle, store.Obstacle());
}

// Closes a file that HDF5 opened by itself and opens it again over the same store.
template <class Between>
hid_t reopen(hid_t file, Between between) {
  vfd_Store* const store = storeOf(file);
  if (store == nullptr || !store->MayMove())
    return H5I_INVALID_HID;
  const hid_t fapl = H5Fget_access_plist(file);
  auto owned = vfd_Driver::TakeStore(file);
  std::string name(static_cast<std::size_t>(std::max<ssize_t>(H5Fget_name(file, nullptr, 0), 0)), '\0');
  H5Fget_name(file, name.data(), name.size() + 1);
  hid_t again = H5I_INVALID_HID;
  if (owned == nullptr) {
    vfd_Refuse("the file is held: its holder opens it again");
  } else if (store->IsNew()) {
    vfd_Refuse("the file has no commit point to go back to: close it");
    store->BeginClosing(false);
    store->EndClosing(closeAll(file));
  } else {
    store->BeginClosing(false);
    store->EndClosing(closeAll(file));
    if (between(*store) && vfd_Driver::CheckWhole(*store))
      again = vfd_Driver::Give(std::move(owned), name.c_str(), fapl);
  }
  H5Pclose(fapl);
  return answer(again, "HDF5 could not open the file again");
}
} // namespace

vfd_Options vfd_OptionsOf(const char* name, unsigned flags, const H5J_options_t& given) {
  vfd_Options options;
  options.fileName = name;
  options.readOnly = (flags & (H5F_ACC_RDWR | H5F_ACC_TRUNC | H5F_ACC_EXCL | H5F_ACC_CREAT)) == 0;
  options.live = given.live && options.readOnly;
  options.durability = options.readOnly ? 1 : static_cast<int>(given.durability);
  options.waitingTime = given.waiting_time;
  if (given.memory_limit != 0)
    options.memoryLimit = given.memory_limit;
  if (given.journal_limit != 0)
    options.journalLimit = given.journal_limit;
  return options;
}

static bool checkOptions(const H5J_options_t& options) {
  if (options.version != H5J_OPTIONS_VERSION)
    return vfd_Refuse("options of version " + std::to_string(options.version) + " are not known");
  return (options.durability >= H5J_NOTHING && options.durability <= H5J_POWER) ||
         vfd_Refuse("the durability is not known");
}

herr_t H5Pset_fapl_journal(hid_t fapl, const H5J_options_t* options) {
  return vfd_Call(kFailed, [&] {
    const H5J_options_t given = options == nullptr ? vfd_Driver::DefaultOptions() : *options;
    return answer(checkOptions(given) && H5Pset_driver(fapl, vfd_Driver::Id(), &given) >= 0 &&
                  H5Pset_fclose_degree(fapl, H5F_CLOSE_STRONG) >= 0);
  });
}

herr_t H5Pget_fapl_journal(hid_t fapl, H5J_options_t* options) {
  return vfd_Call(kFailed, [&] {
    const void* const info = H5Pget_driver(fapl) == vfd_Driver::Id() ? H5Pget_driver_info(fapl) : nullptr;
    if (info == nullptr)
      return answer(vfd_Refuse("the list is not for the journal"));
    std::memcpy(options, info, sizeof *options);
    return 0;
  });
}

herr_t H5Pset_journal_mark(hid_t fcpl) {
  return vfd_Call(kFailed, [&] {
    hsize_t bytes = 0;
    return answer(H5Pget_userblock(fcpl, &bytes) >= 0 &&
                  (bytes >= kVfdMark || H5Pset_userblock(fcpl, kVfdMark) >= 0));
  });
}

hid_t H5FD_journal_init(void) {
  return vfd_Driver::Id();
}

herr_t H5Jcommit(hid_t file) {
  return vfd_Call(kFailed, [&] {
    vfd_Store* const store = storeOf(file);
    return store == nullptr ? kFailed : answerCommit(*store, file);
  });
}

hid_t H5Jrollback(hid_t file) {
  return vfd_Call<hid_t>(H5I_INVALID_HID, [&] { return reopen(file, [](vfd_Store&) { return true; }); });
}

hid_t H5Jrefresh(hid_t file) {
  return vfd_Call<hid_t>(H5I_INVALID_HID, [&]() -> hid_t {
    vfd_Store* const store = storeOf(file);
    if (store != nullptr && !store->Live())
      return vfd_Refuse("the file is not open for live reading"), H5I_INVALID_HID;
    return reopen(file, [](vfd_Store& live) { return live.TakeSnapshot(); });
  });
}

herr_t H5Jclose(hid_t file) {
  return vfd_Call(kFailed, [&] {
    vfd_Store* const store = storeOf(file);
    if (store == nullptr)
      return kFailed;
    const bool kept = commit(*store, file);
    if (H5Fget_obj_count(file, H5F_OBJ_FILE) > 1) // it is open under another identifier, too
      return answer(H5Fclose(file) >= 0 && kept);
    const vfd_Cause cause = vfd_LastCause();
    const auto owned = vfd_Driver::TakeStore(file);
    store->BeginClosing(kept && !store->Forked());
    const bool closed = closeAll(file);
    store->EndClosing(closed);
    const bool finished = owned == nullptr || store->Finish();
    if (!kept)
      vfd_LastCause() = cause;
    else if (!closed)
      vfd_Refuse("HDF5 could not close the file");
    return answer(kept && closed && finished);
  });
}

herr_t H5Jget_info(hid_t file, H5J_info_t* info) {
  return vfd_Call(kFailed, [&] {
    const vfd_Store* const store = storeOf(file);
    if (store != nullptr)
      describe(*store, *info);
    return answer(store != nullptr);
  });
}

const char* H5Jlast_error(void) {
  return vfd_LastCause().Text();
}

H5J_hold_t* H5Jhold(const char* name, unsigned flags, const H5J_options_t* options) {
  return vfd_Call<H5J_hold_t*>(nullptr, [&]() -> H5J_hold_t* {
    const H5J_options_t given = options == nullptr ? vfd_Driver::DefaultOptions() : *options;
    if (!checkOptions(given))
      return nullptr;
    auto hold = std::make_unique<H5J_hold_t>();
    const vfd_Options own = vfd_OptionsOf(name, flags, given);
    hold->name = name;
    hold->isNew = (flags & (H5F_ACC_TRUNC | H5F_ACC_EXCL | H5F_ACC_CREAT)) != 0;
    hold->store = hold->isNew ? vfd_Store::Create(own, (flags & H5F_ACC_EXCL) != 0) : vfd_Store::Open(own);
    return hold->store == nullptr ? nullptr : hold.release();
  });
}

htri_t H5Jis_hot(const H5J_hold_t* hold) {
  return hold->store->NeedsRecovery();
}

hid_t H5Jview(H5J_hold_t* hold, hid_t fapl) {
  return vfd_Call<hid_t>(H5I_INVALID_HID, [&]() -> hid_t {
    vfd_Store& store = *hold->store;
    if (store.IsNew() || !vfd_Driver::CheckWhole(store))
      return H5I_INVALID_HID;
    store.BeginClosing(false); // what HDF5 does now is only for looking
    return answer(vfd_Driver::Open(store, hold->name.c_str(), true, fapl), "HDF5 could not open the file");
  });
}

hid_t H5Jopen(H5J_hold_t* hold, hid_t fcpl, hid_t fapl) {
  return vfd_Call<hid_t>(H5I_INVALID_HID, [&]() -> hid_t {
    vfd_Store& store = *hold->store;
    if (store.IsClosing())
      store.EndClosing(false);
    if (store.IsNew())
      return answer(vfd_Driver::Create(store, hold->name.c_str(), fcpl, fapl),
                    "HDF5 could not make the file");
    if (!vfd_Driver::CheckWhole(store) || (store.NeedsRecovery() && !store.Recover()))
      return H5I_INVALID_HID;
    return answer(vfd_Driver::Open(store, hold->name.c_str(), store.ReadOnly(), fapl),
                  "HDF5 could not open the file");
  });
}

herr_t H5Jend(H5J_hold_t* hold, hid_t file, hbool_t keep) {
  return vfd_Call(kFailed, [&] {
    if (!hold->store->MayMove())
      return kFailed;
    if (keep && file >= 0)
      commit(*hold->store, file); // only then HDF5 says what is free
    hold->store->BeginClosing(keep);
    const bool closed = file < 0 || closeAll(file);
    hold->store->EndClosing(closed);
    return answer(closed || vfd_Refuse("HDF5 could not close the file"));
  });
}

herr_t H5Jmove_on(H5J_hold_t* hold) {
  return vfd_Call(kFailed, [&] { return answer(hold->store->TakeSnapshot()); });
}

herr_t H5Jcommit_held(H5J_hold_t* hold, hid_t file) {
  return vfd_Call(kFailed, [&] { return answerCommit(*hold->store, file); });
}

herr_t H5Jget_hold_info(const H5J_hold_t* hold, H5J_info_t* info) {
  describe(*hold->store, *info);
  return 0;
}

int H5Jget_hold_descriptor(const H5J_hold_t* hold) {
  return hold->store->Main().Get();
}

herr_t H5Jrelease(H5J_hold_t* hold) {
  return vfd_Call(kFailed, [&] {
    const std::unique_ptr<H5J_hold_t> ended(hold);
    if (ended->store->IsClosing())
      ended->store->EndClosing(false);
    return answer(ended->store->Finish());
  });
}

herr_t H5Jset_identity(H5J_hold_t* hold, const unsigned char* id) {
  vfd_FileId own;
  std::memcpy(own.data(), id, own.size());
  hold->store->SetFileId(own);
  return 0;
}

herr_t H5Jget_identity(const H5J_hold_t* hold, unsigned char* id) {
  std::memcpy(id, hold->store->JournalFileId().data(), hold->store->JournalFileId().size());
  return 0;
}

uint64_t H5Jchecksum(const void* bytes, size_t count, uint64_t seed) {
  return vfd_Checksum(bytes, count, seed);
}

uint32_t H5Jmetadata_checksum(const void* bytes, size_t count) {
  return vfd_MetadataChecksum(static_cast<const unsigned char*>(bytes), count);
}
