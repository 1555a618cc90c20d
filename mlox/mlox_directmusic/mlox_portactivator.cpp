// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_portactivator.h"

#include <algorithm>

namespace {

// The name is a label for debuggers.
constexpr char kMutexName[] = "Mlox_PortActivator_Mutex";

// Failures are negative; S_OK and S_FALSE both tell a port that has obeyed.
bool HasObeyed(HRESULT iResult) { return static_cast<std::uint32_t>(iResult) <= 1; }

using Activators = std::vector<std::unique_ptr<Mlox_PortActivator>>;

// sPortActivators: never ended, elements never removed.
Activators& PortActivators() {
  static Activators& sPortActivators = *new Activators;
  return sPortActivators;
}

Mlox_PortActivator& FindOrMake(const Mlox_InputID& iID, IDirectMusicPort* iPortP) {
  Activators& activators = PortActivators();
  const auto found = std::find_if(activators.begin(), activators.end(),
                                  [&](const auto& iActivator) { return iActivator->GetID() == iID; });
  if (found != activators.end()) return **found;
  activators.push_back(std::make_unique<Mlox_PortActivator>(iID, iPortP, *gPSThread));
  return *activators.back();
}

}  // namespace

void Mlox_PortActivator::Apply(const Mlox_InputID& iID, IDirectMusicPort* iPortP, bool iOn) {
  if (iPortP == nullptr) return;
  iPortP->AddRef();
  FindOrMake(iID, iPortP).Count(iOn);
  iPortP->Release();
}

Mlox_PortActivator::Mlox_PortActivator(const Mlox_InputID& iID, IDirectMusicPort* iPortP,
                                       IPSModule_Thread& iThreads)
    : mPort(iPortP), mID(iID), mMutex(iThreads.NewMutex(kMutexName)) {
  mPort->AddRef();
  Activate(false);
}

Mlox_PortActivator::~Mlox_PortActivator() {
  if (mPort != nullptr) mPort->Release();
}

void Mlox_PortActivator::Count(bool iOn) {
  if (mMutex == nullptr) return;
  mMutex->Lock();
  if (mActivationCount < 0) mActivationCount = 0;
  if (mActivationCount > 0 && iOn) {
    ++mActivationCount;
  } else if (mActivationCount > 1 && !iOn) {
    --mActivationCount;
  } else if (mActivationCount == 0 && !iOn) {
    return;  // locked: settled, see the header
  } else {
    mActivationCount = iOn ? 1 : 0;
    Activate(iOn);
  }
  mMutex->Unlock();
}

void Mlox_PortActivator::Activate(bool iOn) {
  if (mPort == nullptr || HasObeyed(mPort->Activate(iOn ? TRUE : FALSE))) return;
  mPort->Release();
  mPort = nullptr;
  mActivationCount = 0;
}
