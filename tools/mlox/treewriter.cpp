// SPDX-License-Identifier: MIT
#include "tools/mlox/treewriter.h"

#include <fmt/format.h>

#include <utf8.h>

#include <cmath>
#include <iterator>

#include "tools/mlox/terminaltext.h"

namespace tool {

namespace {

std::string FloatText(float iValue) {
  if (std::isnan(iValue)) return "nan";
  if (std::isinf(iValue)) return iValue < 0 ? "-inf" : "inf";
  std::string text = fmt::format("{}", static_cast<double>(iValue));
  // A float shows that it is one.
  if (text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
}

}  // namespace

// ---- JSON ----

void JsonWriter::BeginValue() {
  if (mAfterKey) {
    mAfterKey = false;
    return;
  }
  if (mHasItem.empty()) return;
  if (mHasItem.back()) mText += ", ";
  mHasItem.back() = true;
}

void JsonWriter::BeginObject() {
  BeginValue();
  mText += '{';
  mHasItem.push_back(false);
}

void JsonWriter::EndObject() {
  mText += '}';
  mHasItem.pop_back();
}

void JsonWriter::BeginList() {
  BeginValue();
  mText += '[';
  mHasItem.push_back(false);
}

void JsonWriter::EndList() {
  mText += ']';
  mHasItem.pop_back();
}

void JsonWriter::Key(std::string_view iName) {
  BeginValue();
  Quote(iName);
  mText += ": ";
  mAfterKey = true;
}

void JsonWriter::Text(std::string_view iText) {
  BeginValue();
  Quote(iText);
}

void JsonWriter::Quote(std::string_view iText) {
  if (mIllFormed == IllFormed::kKept) return QuoteValid(iText);
  std::string valid;
  utf8::replace_invalid(iText.begin(), iText.end(), std::back_inserter(valid), 0xFFFD);
  QuoteValid(valid);
}

void JsonWriter::QuoteValid(std::string_view iText) {
  mText += '"';
  for (const char character : iText) {
    switch (character) {
      case '"':
        mText += "\\\"";
        break;
      case '\\':
        mText += "\\\\";
        break;
      case '\b':
        mText += "\\b";
        break;
      case '\f':
        mText += "\\f";
        break;
      case '\n':
        mText += "\\n";
        break;
      case '\r':
        mText += "\\r";
        break;
      case '\t':
        mText += "\\t";
        break;
      default:
        if (static_cast<unsigned char>(character) < 0x20) {
          mText += fmt::format("\\u{:04x}", static_cast<unsigned>(character));
        } else {
          mText += character;
        }
    }
  }
  mText += '"';
}

void JsonWriter::Number(int64_t iValue) {
  BeginValue();
  fmt::format_to(std::back_inserter(mText), "{}", iValue);
}

void JsonWriter::Float(float iValue) {
  BeginValue();
  if (std::isfinite(iValue)) {
    mText += FloatText(iValue);
  } else {
    Quote(FloatText(iValue));
  }
}

void JsonWriter::Bool(bool iValue) {
  BeginValue();
  mText += iValue ? "true" : "false";
}

void JsonWriter::Null() {
  BeginValue();
  mText += "null";
}

void JsonWriter::Part(const TreeWriter& iPart) {
  BeginValue();
  mText += iPart.GetText();
}

std::unique_ptr<TreeWriter> JsonWriter::MakeForPart(int) const {
  return std::make_unique<JsonWriter>(mIllFormed);
}

// ---- outline ----

void OutlineWriter::Line(std::string_view iValue) {
  mText.append(static_cast<size_t>(mDepth) * 2, ' ');
  mText += mKey.empty() ? "-" : mKey + ":";
  if (!iValue.empty()) mText += ' ';
  mText += ForTerminal(iValue);
  mText += '\n';
  mKey.clear();
}

// The outermost object has no line of its own.
void OutlineWriter::Open() {
  if (mAtTop && mDepth == 0) {
    mAtTop = false;
    return;
  }
  Line("");
  ++mDepth;
}

void OutlineWriter::BeginObject() { Open(); }

void OutlineWriter::EndObject() {
  if (mDepth > 0) --mDepth;
}

void OutlineWriter::BeginList() { Open(); }

void OutlineWriter::EndList() { EndObject(); }

void OutlineWriter::Key(std::string_view iName) { mKey = iName; }

void OutlineWriter::Text(std::string_view iText) { Line(iText); }

void OutlineWriter::Number(int64_t iValue) { Line(fmt::format("{}", iValue)); }

void OutlineWriter::Float(float iValue) { Line(FloatText(iValue)); }

void OutlineWriter::Bool(bool iValue) { Line(iValue ? "yes" : "no"); }

void OutlineWriter::Null() { Line("none"); }

void OutlineWriter::Part(const TreeWriter& iPart) { mText += iPart.GetText(); }

std::unique_ptr<TreeWriter> OutlineWriter::MakeForPart(int iDepth) const {
  return std::make_unique<OutlineWriter>(iDepth);
}

std::unique_ptr<TreeWriter> MakeTreeWriter(bool iJson) {
  if (iJson) return std::make_unique<JsonWriter>(IllFormed::kKept);
  return std::make_unique<OutlineWriter>();
}

}  // namespace tool
