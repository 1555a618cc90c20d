// SPDX-License-Identifier: MIT
/// \file
/// The implementation base of components.
#pragma once

#include <atomic>
#include <cstdint>

#include "cmn/cmn_export.h"
#include "cmn/iqcfunknown.h"

/// The implementation base of components. An interface that a component implements forwards its own three
/// operations to the controlling unknown (GetControllingUnknown), which is the component's private unknown
/// unless an outer one was given; the private unknown ends in the three Internal... operations.
///
/// The count starts at 0: whoever makes a component takes the first reference. Counting is atomic: references
/// may be taken and dropped on any thread.
class MLOX_EXPORT CQCFUnknown {
 public:
  /// iOuterP: the controlling unknown of an aggregate, not owned, or null: the component controls itself.
  explicit CQCFUnknown(IQCFUnknown* iOuterP = nullptr) noexcept;
  CQCFUnknown(const CQCFUnknown&) = delete;
  CQCFUnknown& operator=(const CQCFUnknown&) = delete;
  virtual ~CQCFUnknown();

  /// A hook for subclasses; returns 0.
  virtual std::int32_t InternalHook();
  /// Called on the last release, before ReclaimMemory; does nothing.
  virtual void InternalLastRelease();
  /// Ends the component after the last release: deletes it. Subclasses that are not simply deleted override
  /// it.
  virtual void ReclaimMemory();
  /// Stores null, then answers for IQCFUnknown with the private unknown. Subclasses answer for their own
  /// interfaces first. A null oResultPP is reported and answered with kQCF_NoInterface. [any]
  virtual std::int32_t InternalQueryInterface(const _qcfUID& iID, void** oResultPP);
  /// Adds 1 atomically and returns the new count. [any]
  virtual std::uint32_t InternalAddRef();
  /// Subtracts 1 atomically; at 0 calls InternalLastRelease, then ReclaimMemory, and touches the object no
  /// more. Returns the new count. [any], apart from the last release: a component that is deleted by it says
  /// where it may come from.
  virtual std::uint32_t InternalRelease();

  /// Where interfaces forward their three operations. [any]
  IQCFUnknown* GetControllingUnknown() const noexcept { return mControllingUnknownP; }
  /// The component's own unknown, whoever controls it. [any]
  IQCFUnknown* GetPrivateUnknown() noexcept { return &mPrivateUnknown; }
  /// References held now; stale as soon as it is read. [any]
  std::uint32_t GetInterfaceRefCount() const noexcept;

  /// Components alive in this process. [any]
  static std::int32_t LiveCount() noexcept;

 protected:
  /// Forwards the three operations to the object's Internal... operations.
  class MLOX_EXPORT PrivateUnknown final : public IQCFUnknown {
   public:
    explicit PrivateUnknown(CQCFUnknown* iObjectP) noexcept : mObjectP(iObjectP) {}
    std::int32_t QueryInterface(const _qcfUID& iID, void** oResultPP) override;
    std::uint32_t AddRef() override;
    std::uint32_t Release() override;

   private:
    CQCFUnknown* mObjectP;
  };

 private:
  std::atomic<std::int32_t> mRefCount{0};
  IQCFUnknown* mControllingUnknownP;
  PrivateUnknown mPrivateUnknown;
};
