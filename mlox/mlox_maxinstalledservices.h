// SPDX-License-Identifier: MIT
/// \file
/// The size of the service table and of every array that is indexed by service.
#pragma once

/// How many services can be installed. Service indices count from 1, so that in an array of this size
/// the entry 0 stays unused and the indices 1, 2 and 3 fit.
inline constexpr int Mlox_cMaxInstalledServices = 4;
