// SPDX-License-Identifier: MIT
#include "tools/mlox/treewriter.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

template <class Writer>
void WriteSample(Writer& ioWriter) {
  ioWriter.BeginObject();
  ioWriter.Key("a");
  ioWriter.BeginList();
  ioWriter.Number(1);
  ioWriter.Text("two");
  ioWriter.BeginList();
  ioWriter.EndList();
  ioWriter.EndList();
  ioWriter.Key("b");
  ioWriter.BeginObject();
  ioWriter.Key("c");
  ioWriter.Bool(false);
  ioWriter.Key("d");
  ioWriter.Null();
  ioWriter.EndObject();
  ioWriter.EndObject();
}

std::string JsonOf(float iValue) {
  tool::JsonWriter writer;
  writer.Float(iValue);
  return writer.GetText();
}

std::string JsonOf(std::string_view iText, tool::IllFormed iIllFormed = tool::IllFormed::kReplaced) {
  tool::JsonWriter writer(iIllFormed);
  writer.Text(iText);
  return writer.GetText();
}

TEST(JsonWriter, WritesOneLine) {
  tool::JsonWriter writer;
  WriteSample(writer);
  EXPECT_EQ(writer.GetText(), R"({"a": [1, "two", []], "b": {"c": false, "d": null}})");
}

TEST(JsonWriter, FloatsAreTheShortestTextOfTheWidenedDouble) {
  EXPECT_EQ(JsonOf(0.0f), "0.0");
  EXPECT_EQ(JsonOf(-0.0f), "-0.0");
  EXPECT_EQ(JsonOf(127.0f), "127.0");
  EXPECT_EQ(JsonOf(-1.5f), "-1.5");
  EXPECT_EQ(JsonOf(0.1f), "0.10000000149011612");
  EXPECT_EQ(JsonOf(16777216.0f), "16777216.0");
  EXPECT_EQ(JsonOf(1e16f), "1.0000000272564224e+16");
  EXPECT_EQ(JsonOf(1e-5f), "9.999999747378752e-06");
  EXPECT_EQ(JsonOf(std::numeric_limits<float>::max()), "3.4028234663852886e+38");
  EXPECT_EQ(JsonOf(18014398509481984.0f), "1.8014398509481984e+16");
  EXPECT_EQ(JsonOf(std::numeric_limits<float>::denorm_min()), "1.401298464324817e-45");
}

TEST(JsonWriter, FloatsThatJsonDoesNotKnowAreStrings) {
  EXPECT_EQ(JsonOf(std::numeric_limits<float>::infinity()), "\"inf\"");
  EXPECT_EQ(JsonOf(-std::numeric_limits<float>::infinity()), "\"-inf\"");
  EXPECT_EQ(JsonOf(std::numeric_limits<float>::quiet_NaN()), "\"nan\"");
}

TEST(JsonWriter, TextIsEscapedAndOtherBytesStay) {
  EXPECT_EQ(JsonOf("a\"b\\c/\n\r\t\b\f\x01\x1F\x7F"), "\"a\\\"b\\\\c/\\n\\r\\t\\b\\f\\u0001\\u001f\x7F\"");
  EXPECT_EQ(JsonOf("\xC3\xA4"), "\"\xC3\xA4\"");
}

TEST(JsonWriter, BytesThatAreNoUtf8AreReplacedWhereTheyAreNotTheAnswer) {
  EXPECT_EQ(JsonOf("\xC3\xA4\xC3"), "\"\xC3\xA4\xEF\xBF\xBD\"");
  EXPECT_EQ(JsonOf("/tmp/\xFF.db"), "\"/tmp/\xEF\xBF\xBD.db\"");
  EXPECT_EQ(JsonOf("\xED\xA0\x80"), "\"\xEF\xBF\xBD\"");
  EXPECT_EQ(JsonOf("\xC3\xA4\xC3", tool::IllFormed::kKept), "\"\xC3\xA4\xC3\"");
  tool::JsonWriter writer;
  writer.BeginObject();
  writer.Key("\xFF");
  const auto part = writer.MakeForPart(0);
  part->Text("\xFF");
  writer.Part(*part);
  writer.EndObject();
  EXPECT_EQ(writer.GetText(), "{\"\xEF\xBF\xBD\": \"\xEF\xBF\xBD\"}");
}

TEST(JsonWriter, TextsOfDocumentsKeepTheirBytes) {
  const auto writer = tool::MakeTreeWriter(true);
  writer->Text("\xC3");
  EXPECT_EQ(writer->GetText(), "\"\xC3\"");
  const auto part = writer->MakeForPart(0);
  part->Text("\xC3");
  EXPECT_EQ(part->GetText(), "\"\xC3\"");
}

TEST(JsonWriter, PartsArePutInWhereTheyBelong) {
  tool::JsonWriter writer;
  const auto part = writer.MakeForPart(0);
  part->BeginList();
  part->Number(1);
  part->EndList();
  writer.BeginObject();
  writer.Key("a");
  writer.Part(*part);
  writer.Key("b");
  writer.Number(2);
  writer.EndObject();
  EXPECT_EQ(writer.GetText(), R"({"a": [1], "b": 2})");
}

TEST(OutlineWriter, WritesALineAValue) {
  tool::OutlineWriter writer;
  WriteSample(writer);
  EXPECT_EQ(writer.GetText(), "a:\n  - 1\n  - two\n  -\nb:\n  c: no\n  d: none\n");
}

TEST(OutlineWriter, ControlCharactersAreBlanks) {
  tool::OutlineWriter writer;
  writer.BeginObject();
  writer.Key("a");
  writer.Text("x\n\x1B[31my");
  writer.EndObject();
  EXPECT_EQ(writer.GetText(), "a: x  [31my\n");
}

}  // namespace
