// SPDX-License-Identifier: MIT
#include "midixml/xmlparserimpl.h"

namespace midixml {

XMLParserImpl::~XMLParserImpl() = default;

}  // namespace midixml
