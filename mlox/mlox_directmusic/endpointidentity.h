// SPDX-License-Identifier: MIT
/// \file
/// The stable integer identity of endpoints, and the table that leads back from it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "mlox/mlox_inputid.h"

/// The first half of every identity made here: the hardware service's index, -1 until the service has one.
/// [main] for writing; it is read under the subsystem's lock. Use the two operations.
std::int32_t GetDirectMusicServiceIndex();
void SetDirectMusicServiceIndex(std::int32_t iServiceIndex);

/// One identity that was handed out, and the object that it was made of.
struct RegisteredIDs {
  Mlox_InputID mID;
  std::shared_ptr<IEndpointIDs> mIDs;
};

// All of these may be called from any thread but real-time ones; they take the subsystem's lock.

/// The identity of an object: the stored number if it has one, else the hash of BuildIDString, which is then
/// stored in the object, so that it stays the same even if the unique ids change. Notes the object for
/// FindRegisteredIDs. Empty gives {-1, -1}; an object without a text to hash has -1 as its number.
Mlox_InputID GetMloxIDFromIDs(std::shared_ptr<IEndpointIDs> iIDs);

/// Always {-1, -1}. Callers ask it when GetMloxIDFromIDs gave -1: a place of its own for a second way to an
/// identity, of which there is none at present.
Mlox_InputID GetInvalidMloxID(std::shared_ptr<IEndpointIDs> iIDs);

/// The device's unique id, and the numbers of entity and endpoint as far as they are there, joined by "+++".
/// Empty without an object or a device id.
std::string BuildIDString(std::shared_ptr<IEndpointIDs> iIDs);

/// The identity of a port that the studio doesn't describe: the hash of its GUID's text, "+++1" and "+++0".
/// Nothing is noted or stored.
Mlox_InputID GetMloxIDFromPortCaps(const DMUS_PORTCAPS& iCaps);

/// The object behind an identity. False for a null output or when there is none.
bool FindRegisteredIDs(const Mlox_InputID& iID, std::shared_ptr<IEndpointIDs>* oIDsP);

/// Empties the table: the service is going.
void ClearRegisteredIDs();

/// A copy of the table, in its order.
std::vector<RegisteredIDs> GetRegisteredIDs();

/// Makes room for so many more identities at once.
void ReserveRegisteredIDs(std::size_t iMore);
