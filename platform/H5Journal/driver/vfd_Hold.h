#pragma once

#include <H5Journal/H5Journal.h>

#include <H5Journal/commit/vfd_Store.h>
#include <H5Journal/files/vfd_Cause.h>

#include <memory>
#include <string>

struct H5J_hold_t {
  std::unique_ptr<vfd_Store> store;
  std::string name;
  bool isNew = false;
};

/// One public call: the last error is its own, and no exception leaves it.
template <class Result, class Work>
Result vfd_Call(Result failed, Work work) noexcept {
  vfd_LastCause().Clear();
  return vfd_Try(failed, work);
}
