// SPDX-License-Identifier: MIT
#include "cmn/cqcfunknown.h"

#include "cmn/cmn_assert.h"

namespace {
constexpr char kAssertSource[] = "cmn/cqcfunknown";
constinit std::atomic<std::int32_t> sLiveCount{0};
}  // namespace

CQCFUnknown::CQCFUnknown(IQCFUnknown* iOuterP) noexcept
    : mControllingUnknownP(iOuterP != nullptr ? iOuterP : &mPrivateUnknown), mPrivateUnknown(this) {
  sLiveCount.fetch_add(1);
}

CQCFUnknown::~CQCFUnknown() { sLiveCount.fetch_sub(1); }

std::int32_t CQCFUnknown::InternalHook() { return 0; }

void CQCFUnknown::InternalLastRelease() {}

void CQCFUnknown::ReclaimMemory() { delete this; }

std::int32_t CQCFUnknown::InternalQueryInterface(const _qcfUID& iID, void** oResultPP) {
  if (!CMN_ASSERT_FROM(kAssertSource, oResultPP != nullptr, "oResultPP")) return kQCF_NoInterface;
  *oResultPP = nullptr;
  if (iID != IQCFUnknown::kUID) return kQCF_NoInterface;
  IQCFUnknown* unknownP = &mPrivateUnknown;
  unknownP->AddRef();
  *oResultPP = unknownP;
  return kQCF_Ok;
}

std::uint32_t CQCFUnknown::InternalAddRef() { return static_cast<std::uint32_t>(mRefCount.fetch_add(1) + 1); }

std::uint32_t CQCFUnknown::InternalRelease() {
  const std::int32_t count = mRefCount.fetch_sub(1) - 1;
  if (count == 0) {
    InternalLastRelease();
    ReclaimMemory();
  }
  return static_cast<std::uint32_t>(count);
}

std::uint32_t CQCFUnknown::GetInterfaceRefCount() const noexcept {
  return static_cast<std::uint32_t>(mRefCount.load());
}

std::int32_t CQCFUnknown::LiveCount() noexcept { return sLiveCount.load(); }

std::int32_t CQCFUnknown::PrivateUnknown::QueryInterface(const _qcfUID& iID, void** oResultPP) {
  return mObjectP->InternalQueryInterface(iID, oResultPP);
}

std::uint32_t CQCFUnknown::PrivateUnknown::AddRef() { return mObjectP->InternalAddRef(); }

std::uint32_t CQCFUnknown::PrivateUnknown::Release() { return mObjectP->InternalRelease(); }
