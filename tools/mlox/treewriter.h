// SPDX-License-Identifier: MIT
/// \file
/// Writing nested answers, as JSON for programs and as an outline for people.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// Takes objects, lists and values in the order in which they are to be read.
class TreeWriter {
 public:
  virtual ~TreeWriter() = default;

  virtual void BeginObject() = 0;
  virtual void EndObject() = 0;
  virtual void BeginList() = 0;
  virtual void EndList() = 0;
  /// The name of the value that comes next. JSON wants them in sorted order: the caller sees to that.
  virtual void Key(std::string_view iName) = 0;
  virtual void Text(std::string_view iText) = 0;
  virtual void Number(int64_t iValue) = 0;
  virtual void Float(float iValue) = 0;
  virtual void Bool(bool iValue) = 0;
  virtual void Null() = 0;
  /// A value that another writer of the same kind, made by MakeForPart, has written.
  virtual void Part(const TreeWriter& iPart) = 0;
  /// A writer for one value that stands iDepth levels deep and is put in later.
  virtual std::unique_ptr<TreeWriter> MakeForPart(int iDepth) const = 0;

  /// All that was written.
  const std::string& GetText() const { return mText; }

 protected:
  std::string mText;
};

/// What JSON holds in the place of bytes that are no UTF-8, which it doesn't know.
enum class IllFormed : std::uint8_t {
  kReplaced,  ///< U+FFFD for each sequence
  kKept,      ///< the bytes: for texts of documents that were cut to a length, where they are the answer
};

/// One line of JSON. Floats are the shortest text that reads back as the float widened to double; those that
/// JSON doesn't know are the strings "inf", "-inf" and "nan".
class JsonWriter final : public TreeWriter {
 public:
  explicit JsonWriter(IllFormed iIllFormed = IllFormed::kReplaced) : mIllFormed(iIllFormed) {}

  void BeginObject() override;
  void EndObject() override;
  void BeginList() override;
  void EndList() override;
  void Key(std::string_view iName) override;
  void Text(std::string_view iText) override;
  void Number(int64_t iValue) override;
  void Float(float iValue) override;
  void Bool(bool iValue) override;
  void Null() override;
  void Part(const TreeWriter& iPart) override;
  std::unique_ptr<TreeWriter> MakeForPart(int iDepth) const override;

 private:
  void BeginValue();
  void Quote(std::string_view iText);
  void QuoteValid(std::string_view iText);

  IllFormed mIllFormed;
  // For each open object or list, whether something stands in it. After a key no comma is due.
  std::vector<bool> mHasItem;
  bool mAfterKey = false;
};

/// One line a value, "name: value", indented by two blanks a level.
class OutlineWriter final : public TreeWriter {
 public:
  explicit OutlineWriter(int iDepth = 0) : mDepth(iDepth) {}

  void BeginObject() override;
  void EndObject() override;
  void BeginList() override;
  void EndList() override;
  void Key(std::string_view iName) override;
  void Text(std::string_view iText) override;
  void Number(int64_t iValue) override;
  void Float(float iValue) override;
  void Bool(bool iValue) override;
  void Null() override;
  void Part(const TreeWriter& iPart) override;
  std::unique_ptr<TreeWriter> MakeForPart(int iDepth) const override;

 private:
  void Line(std::string_view iValue);
  void Open();

  int mDepth;
  bool mAtTop = true;
  std::string mKey;
};

/// The writer that the option --json asks for, for what documents hold: JSON keeps bytes that are no UTF-8.
std::unique_ptr<TreeWriter> MakeTreeWriter(bool iJson);

}  // namespace tool
