// SPDX-License-Identifier: MIT
/// \file
/// The size of the service table and of every array that is indexed by service.
#pragma once

/// How many services are installed without a report; further ones are reported and installed all the same.
/// Service indices count from 1, so that in an array of this size the entry 0 stays unused and the indices 1,
/// 2 and 3 fit: already the fourth service has no entry in ports and contexts.
inline constexpr int Mlox_cMaxInstalledServices = 4;
