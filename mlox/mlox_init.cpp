// SPDX-License-Identifier: MIT
#include "mlox/mlox_init.h"

bool Mlox_Init::sIsInitialized = false;

void Mlox_Init::Init() { sIsInitialized = true; }

void Mlox_Init::Free() { sIsInitialized = false; }
