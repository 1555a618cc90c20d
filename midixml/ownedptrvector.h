// SPDX-License-Identifier: MIT
/// \file
/// A vector that owns what its pointers point to.
#pragma once

#include <utility>
#include <vector>

namespace midixml {

/// A vector of pointers that deletes each of them with itself.
template <class Pointer>
class OwnedPtrVector : public std::vector<Pointer> {
 public:
  OwnedPtrVector() = default;
  OwnedPtrVector(const OwnedPtrVector&) = delete;
  OwnedPtrVector& operator=(const OwnedPtrVector&) = delete;
  virtual ~OwnedPtrVector() {
    for (Pointer elementP : *this) delete elementP;
  }
};

}  // namespace midixml
