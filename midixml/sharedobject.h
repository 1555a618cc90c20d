// SPDX-License-Identifier: MIT
/// \file
/// The base of everything that the name model counts.
#pragma once

#include <cstdint>

#include "cmn/cmn_export.h"

namespace midixml {

/// An object with a plain reference count, which starts at 1 for the one who made it.
///
/// The count is no atomic: a graph of such objects belongs to one thread at a time. [any, one at a time]
class MLOX_EXPORT SharedObject {
 public:
  SharedObject() = default;
  SharedObject(const SharedObject&) = delete;
  SharedObject& operator=(const SharedObject&) = delete;
  virtual ~SharedObject();

  /// Adds one reference.
  void AddReference() const { ++mRefCount; }

  /// Drops one reference; the last one deletes the object.
  void RemoveReference() const {
    if (--mRefCount == 0) delete this;
  }

  /// How many references there are now.
  int32_t GetReferenceCount() const { return mRefCount; }

 private:
  mutable int32_t mRefCount = 1;
};

}  // namespace midixml
