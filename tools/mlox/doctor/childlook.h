// SPDX-License-Identifier: MIT
/// \file
/// Looking at what may hang, or end who looks.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "tools/mlox/doctor/fields.h"
#include "tools/mlox/doctor/machine.h"

namespace tool {

/// Runs iLook in a process of its own, which prints nothing, and gives the texts that it returned. When the
/// patience is over that process is killed. What it had begun ends with it: it must not leave anything on
/// the machine. To be called while this process has one thread.
///
/// A process that can't be had, or that has too few files, too little memory or, by what iLook throws as
/// std::system_error, too few threads for the look is kNotHad, with errno.
LookOutcome LookInChild(std::chrono::milliseconds iPatience,
                        const std::function<std::vector<std::string>()>& iLook,
                        std::vector<std::string>& oFields);

/// The same for facts, which stay as they are where the answer doesn't come.
template <class Facts>
LookOutcome LookInChild(std::chrono::milliseconds iPatience, const std::function<Facts()>& iLook,
                        Facts& oFacts) {
  std::vector<std::string> fields;
  const auto look = [&] {
    Facts facts = iLook();
    FieldWriter writer;
    Visit(writer, facts);
    return writer.mFields;
  };
  const LookOutcome end = LookInChild(iPatience, look, fields);
  if (end == LookEnd::kDone) {
    FieldReader reader(fields);
    Visit(reader, oFacts);
  }
  return end;
}

}  // namespace tool
