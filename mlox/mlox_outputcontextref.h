// SPDX-License-Identifier: MIT
/// \file
/// A handle to an output context.
#pragma once

#include <cstdint>

#include "cmn/cmn_export.h"

class Mlox_Manager;
class Mlox_OutputContext;

/// A plain, copyable handle to an output context. It counts nothing: a context outlives all references.
/// Comparison and GetUID read the handle alone, so that any thread may use them.
class MLOX_EXPORT Mlox_OutputContextRef {
 public:
  /// [any] Refers to no context.
  Mlox_OutputContextRef() = default;

  /// [any] Whether both refer to the same context.
  bool operator==(const Mlox_OutputContextRef& iOther) const { return mContextP == iOther.mContextP; }
  bool operator!=(const Mlox_OutputContextRef& iOther) const = delete;

  /// [any] Whether it refers to a context.
  explicit operator bool() const { return mContextP != nullptr; }

  /// [any] A number that no other context of the process has or will have; 0 for no context.
  std::uint64_t GetUID() const { return reinterpret_cast<std::uintptr_t>(mContextP); }

  /// [writer] As the operation of the context, which must be there: there is no test for null.
  void StartAccumulatingBatchDelivery();

  /// [writer] As the operation of the context, which must be there: there is no test for null.
  void FlushBatchDelivery();

 private:
  friend class Mlox_Manager;

  explicit Mlox_OutputContextRef(Mlox_OutputContext* iContextP) : mContextP(iContextP) {}

  Mlox_OutputContext* mContextP = nullptr;
};
