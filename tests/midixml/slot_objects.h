// SPDX-License-Identifier: MIT
/// \file
/// Objects of the document reader as bare addresses, for a test that knows nothing of their classes.
#pragma once

#include <string>
#include <vector>

/// What the objects made here have been called for since the last look: the operation's name and its
/// arguments, and the name of the destructor.
std::vector<std::string> Test_TakeSlotLog();

/// A parser of an application's own over the table-driven reader. Each operation writes itself down.
void* Test_MakeSlotXmlParser();
/// The same over the reader of name documents. HandleDeviceNames accepts.
void* Test_MakeSlotNameParser();
/// The same over the reader of device types. HandleDeviceTypes accepts.
void* Test_MakeSlotDeviceTypesParser();
/// A tokeniser of an application's own. GetCurrentLine gives 42.
void* Test_MakeSlotTokeniser();
/// A counted object. It was made with one reference.
void* Test_MakeSlotSharedObject();

/// The attributes of a tag without any.
void* Test_SlotAttributes();
/// An open element, of row 6 of a table, with the text "open".
void* Test_SlotElement();

/// The answer about a bank called "B" that controller 0 selects with 5 and controller 32 with 7.
void* Test_MakeSlotPatchInfo();
