// SPDX-License-Identifier: MIT
/// \file
/// A reference by name, and at the same time the element of the model's owned lists.
#pragma once

#include <string_view>
#include <utility>

#include "midixml/sharedstring.h"

namespace midixml {

/// A counted pointer to a T, null until resolved, and the name that was asked for.
///
/// As an element of an owned list it carries the object and an empty name.
template <class T>
class NamedRef {
 public:
  NamedRef() = default;
  /// An element of an owned list. Adds a reference.
  explicit NamedRef(T* iObjectP) { SetObject(iObjectP); }
  NamedRef(const NamedRef& iOther) : mName(iOther.mName) { SetObject(iOther.mObject); }
  NamedRef(NamedRef&& iOther) noexcept
      : mObject(std::exchange(iOther.mObject, nullptr)), mName(std::move(iOther.mName)) {}
  ~NamedRef() {
    if (mObject) mObject->RemoveReference();
  }

  NamedRef& operator=(const NamedRef& iOther) {
    SetObject(iOther.mObject);
    mName = iOther.mName;
    return *this;
  }
  NamedRef& operator=(NamedRef&& iOther) noexcept {
    std::swap(mObject, iOther.mObject);
    mName = std::move(iOther.mName);
    return *this;
  }

  /// The object, or null.
  T* GetObject() const { return mObject; }

  /// Points at another object, or at none: adds a reference to the new one and drops that of the old one.
  void SetObject(T* iObjectP) {
    if (iObjectP) iObjectP->AddReference();
    T* oldP = std::exchange(mObject, iObjectP);
    if (oldP) oldP->RemoveReference();
  }

  /// True while there is a name to look for and no object. An empty name counts as no name.
  bool IsUnresolved() const { return !mObject && !mName.IsEmpty(); }

  /// Looks for mName among the elements of a range of references, from the front, byte by byte, and takes the
  /// first that fits. Does nothing if there is an object already, or no name. No match leaves the reference
  /// null, silently.
  template <class Iterator>
  void Resolve(Iterator iBegin, Iterator iEnd) {
    if (!IsUnresolved()) return;
    const std::string_view name = mName.View();
    for (Iterator it = iBegin; it != iEnd; ++it) {
      T* candidateP = it->GetObject();
      if (candidateP && candidateP->mName.View() == name) {
        SetObject(candidateP);
        return;
      }
    }
  }

 private:
  T* mObject = nullptr;

 public:
  /// The name asked for.
  SharedString mName;
};

}  // namespace midixml
