// SPDX-License-Identifier: MIT
#include "cmn/cmn_version.h"
