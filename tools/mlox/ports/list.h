// SPDX-License-Identifier: MIT
/// \file
/// `mlox list`: the outputs and inputs that there are.
#pragma once

namespace tool {

struct ListRequest {
  bool mAll = false;
  bool mJson = false;
};

/// Throws ToolError.
void List(const ListRequest& iRequest);

}  // namespace tool
