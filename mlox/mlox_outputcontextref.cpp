// SPDX-License-Identifier: MIT
#include "mlox/mlox_outputcontextref.h"

#include "mlox/mlox_outputcontext.h"

// A null reference faults here at once, by decision: a batch that is opened nowhere would lose its entries.

void Mlox_OutputContextRef::StartAccumulatingBatchDelivery() { mContextP->StartAccumulatingBatchDelivery(); }

void Mlox_OutputContextRef::FlushBatchDelivery() { mContextP->FlushBatchDelivery(); }
