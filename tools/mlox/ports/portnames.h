// SPDX-License-Identifier: MIT
/// \file
/// How a user names an output or an input: by its exact name, by the beginning of one, by its id, or by one
/// of its integer ids.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "mlox/mlox_input.h"
#include "mlox/mlox_inputid.h"

class Mlox_Device;

namespace tool {

class PortSession;

/// An id as people see and give it: the service's index, a colon, the number in eight hexadecimal digits.
std::string IdText(const Mlox_InputID& iID);

/// The id of an output device; {-1, -1} for one that has none.
Mlox_InputID IdOf(Mlox_Device& ioDevice);

/// What can be named.
struct NamedPort {
  std::string mName;
  std::string mId;
};

/// Which of the ports the text names. An exact name wins over an id, an id over the beginning of a name;
/// letter case counts. Throws ToolError when none fits, telling what there is, and when several fit, listing
/// them with their ids. \param iKind  "output" or "input", for the text of errors
std::size_t FindPort(const std::vector<NamedPort>& iPorts, const std::string& iText, const char* iKind);

/// The ids of the one port that the text names, or of the output and the input that it names and that have
/// one name, the output's first. The rules are those of FindPort, over both directions together: what names
/// an output exactly doesn't also name an input whose name begins so. Throws ToolError.
std::vector<std::string> FindSocket(const std::vector<NamedPort>& iOutputs,
                                    const std::vector<NamedPort>& iInputs, const std::string& iText);

/// The place of a port among outputs or among inputs.
struct PortPlace {
  bool mIsInput = false;
  std::size_t mIndex = 0;
};

/// The same search among outputs and inputs at once: what fits better wins, and an output over an input of
/// the same name. Ports of other names that fit as well make the text ambiguous. Throws ToolError.
PortPlace FindPortOfEither(const std::vector<NamedPort>& iOutputs, const std::vector<NamedPort>& iInputs,
                           const std::string& iText);

/// The integer of "id:N", 0 to 2147483647; nothing for any other text.
std::optional<int> IntegerIdOf(const std::string& iText);

// Of an integer id, which stands for a channel, the device or input counts alone: a message says its own
// channel.

/// The output of that name. Throws ToolError.
Mlox_Device& FindOutput(const PortSession& iSession, const std::string& iText);
/// The input of that name. Throws ToolError.
Mlox_InputRef FindInput(const PortSession& iSession, const std::string& iText);

/// One of the two.
struct OutputOrInput {
  Mlox_Device* mOutputP = nullptr;
  Mlox_InputRef mInput;
};
/// The output of that name or, if it is none's, the input. Of an integer id that an output and an input of
/// different names have, neither. Throws ToolError.
OutputOrInput FindOutputOrInput(const PortSession& iSession, const std::string& iText);

}  // namespace tool
