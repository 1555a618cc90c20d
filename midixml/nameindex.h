// SPDX-License-Identifier: MIT
/// \file
/// Looking up an owned list by name at a cost that does not grow with the list.
#pragma once

#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "midixml/namedref.h"

namespace midixml {

/// Finds the first object of a name in a vector of references. The vector must outlive the index and stay as
/// it is.
template <class T>
class NameIndex {
 public:
  using List = std::vector<NamedRef<T>>;

  explicit NameIndex(const List& iList) : mList(iList) {}

  const List& GetList() const { return mList; }

  /// The first object with this name, or null.
  T* Find(std::string_view iName) {
    if (mList.size() <= kWalkedSize) return Walk(iName);
    if (mFirstByName.empty()) Build();
    const auto found = mFirstByName.find(iName);
    return found == mFirstByName.end() ? nullptr : found->second;
  }

  /// Resolves a reference against the list.
  void Resolve(NamedRef<T>& ioRef) {
    if (!ioRef.IsUnresolved()) return;
    if (T* objectP = Find(ioRef.mName.View())) ioRef.SetObject(objectP);
  }

 private:
  // Up to here comparing names is cheaper than hashing them.
  static constexpr size_t kWalkedSize = 8;

  T* Walk(std::string_view iName) const {
    for (const NamedRef<T>& element : mList) {
      T* objectP = element.GetObject();
      if (objectP && objectP->mName.View() == iName) return objectP;
    }
    return nullptr;
  }

  void Build() {
    mFirstByName.reserve(mList.size());
    for (const NamedRef<T>& element : mList) {
      // emplace leaves the first of a name in place.
      if (T* objectP = element.GetObject()) mFirstByName.emplace(objectP->mName.View(), objectP);
    }
  }

  const List& mList;
  std::unordered_map<std::string_view, T*> mFirstByName;
};

}  // namespace midixml
