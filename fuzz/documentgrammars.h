// SPDX-License-Identifier: MIT
/// \file
/// The kinds of documents, for the mutator.
#pragma once

#include "fuzz/documentmutator.h"

/// MIDI name documents.
const Fuzz_Grammar& Fuzz_NamesGrammar();
/// Device type documents.
const Fuzz_Grammar& Fuzz_DeviceTypesGrammar();
