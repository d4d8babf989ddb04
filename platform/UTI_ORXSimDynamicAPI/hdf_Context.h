#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>
#include <UTI_ORXSimDynamicAPI/hdf_Handle.h>

#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <sys/types.h>

class hdf_GroupRep;
class hdf_ObjectRep;
class hdf_Operation;

/// What all objects of one open file share; outlives the file for as long as one of them is held. Private
/// to the module.
struct hdf_Context {
  /// How many groups keep their last dataset open: those that came back to it, and those that used it once.
  /// Few of the latter: a program that goes through many objects would only spread HDF5's memory.
  static constexpr std::size_t kKeptDatasets = 256, kLateDatasets = 1;
  /// How many groups below the root have an identifier.
  static constexpr std::size_t kAwakeGroups = 8;

  hdf_Context() = default;
  hdf_Context(const hdf_Context&) = delete;
  hdf_Context& operator=(const hdf_Context&) = delete;

  bool IsOpen() const { return file >= 0; }
  /// The one place where what was written becomes permanent, as the durability option promises.
  bool CommitPoint(hdf_Operation& operation) const;
  /// Ends one write: a commit point unless an update scope is open.
  bool EndWrite(hdf_Operation& operation) const { return scopes > 0 || CommitPoint(operation); }
  /// Closes every object and the file. \return false when the last commit point failed.
  bool Close(hdf_Operation& operation);

  ORXSimContextID id;
  std::string fileName; // as the host gave it
  hid_t file = H5I_INVALID_HID;
  int descriptor = -1; // holds the lock; open as long as the file
  dev_t device = 0;
  ino_t inode = 0;
  bool readOnly = false;
  int durability = 1; // 0 none, 1 death of the process, 2 loss of power
  int scopes = 0;     // open update scopes

  hdf_ObjectRep* objects = nullptr;           // every open object but datasets, linked through the objects
  hdf_ObjectRep* datasets = nullptr;          // every open dataset
  std::list<hdf_GroupRep*> keepers, lately;   // groups that keep a dataset open, latest use first
  std::list<hdf_GroupRep*> awake;             // groups that can sleep and do not, latest use first
  hdf_GroupHandle collections, distributions; // of the bulk store, once used
};

/// The contexts of the process. Private to the module.
class hdf_Contexts {
 public:
  /// Null when the context is unknown or closed. Valid until the next context is opened or closed.
  static const std::shared_ptr<hdf_Context>& Find(ORXSimContextID id);
  /// Gives the context its number and keeps it until Remove.
  static ORXSimContextID Add(std::shared_ptr<hdf_Context> context);
  static void Remove(ORXSimContextID id);
  /// The open context on that file, null when there is none.
  static std::shared_ptr<hdf_Context> OnFile(dev_t device, ino_t inode);
  /// Closes all that are open.
  static void CloseAll();
};
