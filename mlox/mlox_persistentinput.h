// SPDX-License-Identifier: MIT
/// \file
/// A reference to an input that survives its going and coming back.
#pragma once

#include <memory>
#include <string>

#include "cmn/cmn_export.h"
#include "mlox/mlox_devicedescriptor.h"
#include "mlox/mlox_input.h"
#include "mlox/mlox_manager_listener.h"

/// A late-binding reference to an input: a descriptor and the input found from it. A change of the inputs
/// only marks it; the next query searches anew. All operations belong to the main thread.
class MLOX_EXPORT Mlox_PersistentInput : public Mlox_Manager_Listener {
 public:
  /// [main] A null reference. It makes the manager if there is none.
  Mlox_PersistentInput();

  /// [main] Refers to whatever fits the descriptor at the first query.
  /// \param iDescriptorRCP  null is reported and gives a null reference
  explicit Mlox_PersistentInput(std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorRCP);

  /// [main] Refers to this input and stays with it: of all constructors this one alone doesn't listen to the
  /// manager, so that the reference never searches.
  /// \param iInputRCP  may be null: a null reference
  explicit Mlox_PersistentInput(const Mlox_InputRef& iInputRCP);

  /// [main] The copy listens, also one of a reference that doesn't.
  Mlox_PersistentInput(const Mlox_PersistentInput& iOther);

  /// [main] Listens as before.
  Mlox_PersistentInput& operator=(const Mlox_PersistentInput& iOther);

  ~Mlox_PersistentInput() override;

  void Mlox_Manager_InputsChanged() override;

  /// [main] Whether the descriptors are equal; true if neither has one.
  bool Equals(const Mlox_PersistentInput& iOther) const;

  /// [main] The descriptor after a search if one is due; null for a null reference.
  std::shared_ptr<const Mlox_DeviceDescriptor> GetDescriptor() const;

  /// [main] The input after a search if one is due; null while there is none.
  Mlox_InputRef GetInput() const;

  /// [main] The descriptor's name, without a search; empty for a null reference.
  std::string GetName() const;

  /// [main] Whether there is an input, after a search if one is due.
  bool IsOnline() const;

  /// [main] Whether there is no descriptor.
  bool IsNull() const { return mDescriptorRCP == nullptr; }

  /// [main] Whether there is a descriptor.
  bool IsNotNull() const { return !IsNull(); }

  /// [main] Whether the next query searches.
  bool InputNeedsReResolving() const { return mInputNeedsReResolving; }

 private:
  void Init();
  void ResetInputUsingDescriptor() const;

  // A query that is due for a search may change all three.
  mutable std::shared_ptr<const Mlox_DeviceDescriptor> mDescriptorRCP;
  mutable Mlox_InputRef mInputRCP;
  mutable bool mInputNeedsReResolving = false;
};
