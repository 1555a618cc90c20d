// SPDX-License-Identifier: MIT
#include "mlox/mlox_persistentinput.h"

#include <utility>

#include "cmn/cmn_assert.h"
#include "mlox/mlox_manager.h"

namespace {
constexpr char kAssertSource[] = "mlox/mlox_persistentinput";
}

Mlox_PersistentInput::Mlox_PersistentInput() { Init(); }

Mlox_PersistentInput::Mlox_PersistentInput(std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorRCP)
    : mDescriptorRCP(std::move(iDescriptorRCP)), mInputNeedsReResolving(true) {
  CMN_ASSERT_FROM(kAssertSource, mDescriptorRCP != nullptr, "iDescriptorRCP.get() != nullptr");
  Init();
}

// No Init here, on purpose: a reference that was made from an input means that very input.
Mlox_PersistentInput::Mlox_PersistentInput(const Mlox_InputRef& iInputRCP) : mInputRCP(iInputRCP) {
  if (mInputRCP) mDescriptorRCP = mInputRCP->GetDeviceDescriptor();
}

Mlox_PersistentInput::Mlox_PersistentInput(const Mlox_PersistentInput& iOther)
    : Mlox_Manager_Listener(iOther),
      mDescriptorRCP(iOther.mDescriptorRCP),
      mInputRCP(iOther.mInputRCP),
      mInputNeedsReResolving(iOther.mInputNeedsReResolving) {
  Init();
}

Mlox_PersistentInput& Mlox_PersistentInput::operator=(const Mlox_PersistentInput& iOther) {
  if (this == &iOther) return *this;
  mDescriptorRCP = iOther.mDescriptorRCP;
  mInputRCP = iOther.mInputRCP;
  mInputNeedsReResolving = iOther.mInputNeedsReResolving;
  return *this;
}

Mlox_PersistentInput::~Mlox_PersistentInput() = default;

void Mlox_PersistentInput::Init() { Mlox_Manager::Singleton()->AddListener(this); }

void Mlox_PersistentInput::Mlox_Manager_InputsChanged() { mInputNeedsReResolving = true; }

bool Mlox_PersistentInput::Equals(const Mlox_PersistentInput& iOther) const {
  if (IsNull() || iOther.IsNull()) return IsNull() && iOther.IsNull();
  return mDescriptorRCP->Equals(iOther.mDescriptorRCP.get());
}

std::shared_ptr<const Mlox_DeviceDescriptor> Mlox_PersistentInput::GetDescriptor() const {
  ResetInputUsingDescriptor();
  return mDescriptorRCP;
}

Mlox_InputRef Mlox_PersistentInput::GetInput() const {
  ResetInputUsingDescriptor();
  return mInputRCP;
}

std::string Mlox_PersistentInput::GetName() const {
  return IsNull() ? std::string() : mDescriptorRCP->GetName();
}

bool Mlox_PersistentInput::IsOnline() const {
  ResetInputUsingDescriptor();
  return static_cast<bool>(mInputRCP);
}

void Mlox_PersistentInput::ResetInputUsingDescriptor() const {
  if (!mInputNeedsReResolving) return;
  if (mDescriptorRCP != nullptr) {
    mInputRCP = Mlox_Manager::Singleton()->FindInputBestMatchingDescriptor(mDescriptorRCP);
  }
  // Adopting the identity of what was found makes the next search an exact one.
  if (mInputRCP) mDescriptorRCP = mInputRCP->GetDeviceDescriptor();
  mInputNeedsReResolving = false;
}
