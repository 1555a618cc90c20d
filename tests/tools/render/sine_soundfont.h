// SPDX-License-Identifier: MIT
/// \file
/// A sound font whose sound tells by its pitch what a synthesizer has heard.
#pragma once

#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <numbers>
#include <string>
#include <string_view>

/// The content of a file: one sine that lasts as long as its key is held, in a RIFF of the form "sfbk".
/// Program 0 plays it at the pitch of the key, program 1 an octave above. Key pressure raises it by 1200/128
/// cents a step, channel pressure lowers it as much.
class SineSoundFont {
 public:
  static std::string Content() {
    return Chunk("RIFF", "sfbk" + List("INFO", Info()) + List("sdta", Chunk("smpl", Samples())) +
                             List("pdta", Presets() + Instruments() + SampleHeaders()));
  }

 private:
  /// Numbers of generators and of a modulator's sources.
  enum : std::int16_t { kInstrument = 41, kCoarseTune = 51, kFineTune = 52, kSampleId = 53, kLoops = 54 };
  enum : std::int16_t { kKeyPressure = 10, kChannelPressure = 13 };
  /// Three periods at key 69's 440 Hz, of which the second is repeated.
  static constexpr int kPeriod = 100;
  static constexpr int kSampleRate = 440 * kPeriod;

  static std::string Number(std::uint64_t iValue, int iBytes) {
    std::string bytes;
    for (int i = 0; i < iBytes; ++i) {
      bytes.push_back(static_cast<char>((iValue >> (8 * i)) & 0xFF));
    }
    return bytes;
  }

  static std::string Words(std::initializer_list<int> iWords) {
    std::string bytes;
    for (const int word : iWords) {
      bytes += Number(static_cast<std::uint16_t>(word), 2);
    }
    return bytes;
  }

  static std::string DoubleWords(std::initializer_list<int> iDoubleWords) {
    std::string bytes;
    for (const int doubleWord : iDoubleWords) {
      bytes += Number(static_cast<std::uint32_t>(doubleWord), 4);
    }
    return bytes;
  }

  static std::string Name(std::string iName) {
    iName.resize(20);
    return iName;
  }

  static std::string Chunk(std::string_view iType, const std::string& iBody) {
    return std::string(iType) + Number(iBody.size(), 4) + iBody;
  }

  static std::string List(std::string_view iType, const std::string& iBody) {
    return Chunk("LIST", std::string(iType) + iBody);
  }

  static std::string Info() {
    using namespace std::string_literals;
    return Chunk("ifil", Words({2, 1})) + Chunk("isng", "EMU8000\0"s) + Chunk("INAM", "Sine\0\0"s);
  }

  static std::string Samples() {
    std::string samples;
    for (int i = 0; i < 3 * kPeriod; ++i) {
      samples += Words({static_cast<int>(16000 * std::sin(2 * std::numbers::pi * i / kPeriod))});
    }
    return samples + std::string(2 * 46, '\0');
  }

  static std::string Preset(const std::string& iName, int iProgram, int iFirstBag) {
    return Name(iName) + Words({iProgram, 0, iFirstBag}) + DoubleWords({0, 0, 0});
  }

  /// Each table ends with an entry that only says where the ones before it end.
  static std::string Presets() {
    const std::string presets = Preset("Sine", 0, 0) + Preset("Octave", 1, 1) + Preset("EOP", 0, 2);
    return Chunk("phdr", presets) + Chunk("pbag", Words({0, 0}) + Words({1, 0}) + Words({3, 0})) +
           Chunk("pmod", Words({0, 0, 0, 0, 0})) +
           Chunk("pgen", Words({kInstrument, 0}) + Words({kCoarseTune, 12, kInstrument, 0}) + Words({0, 0}));
  }

  static std::string Instruments() {
    return Chunk("inst", Name("Sine") + Words({0}) + Name("EOI") + Words({1})) +
           Chunk("ibag", Words({0, 0}) + Words({2, 2})) +
           Chunk("imod", Words({kKeyPressure, kFineTune, 1200, 0, 0}) +
                             Words({kChannelPressure, kFineTune, -1200, 0, 0}) + Words({0, 0, 0, 0, 0})) +
           Chunk("igen", Words({kLoops, 1, kSampleId, 0}) + Words({0, 0}));
  }

  static std::string SampleHeaders() {
    return Chunk("shdr", Name("Sine") + DoubleWords({0, 3 * kPeriod, kPeriod, 2 * kPeriod, kSampleRate}) +
                             Number(69, 1) + Number(0, 1) + Words({0, 1}) + Name("EOS") +
                             std::string(26, '\0'));
  }
};
