// SPDX-License-Identifier: MIT
#include "tools/mlox/render/synthesizer.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"
#include "tests/tools/render/sine_soundfont.h"
#include "tools/mlox/tool_error.h"

namespace {

using tool::Synthesizer;
using Bytes = std::vector<std::uint8_t>;

constexpr char kSoundFont[] = "/usr/share/sounds/sf2/TimGM6mb.sf2";

std::string ErrorOf(const std::string& iSoundFont) {
  try {
    const Synthesizer synthesizer(iSoundFont, 48000);
  } catch (const tool::ToolError& error) {
    return error.what();
  }
  return "no error";
}

float PeakOf(const std::vector<float>& iFrames) {
  float peak = 0;
  for (const float value : iFrames) {
    peak = std::max(peak, std::fabs(value));
  }
  return peak;
}

/// Renders a note that starts before frame 100 and ends before frame 3000, in pieces of a size.
std::vector<float> RenderNote(std::int64_t iPiece) {
  Synthesizer synthesizer(kSoundFont, 48000);
  std::vector<float> frames(2 * 6000);
  for (std::int64_t position = 0; position < 6000;) {
    if (position == 100) {
      synthesizer.Feed(Bytes{0x90, 60, 100});
    }
    if (position == 3000) {
      synthesizer.Feed(Bytes{0x80, 60, 0});
    }
    const std::int64_t next = position < 100 ? 100 : position < 3000 ? 3000 : 6000;
    const std::int64_t count = std::min(iPiece, next - position);
    synthesizer.Render(frames.data() + 2 * position, count);
    position += count;
  }
  return frames;
}

TEST(Synthesizer, PlaysANote) {
  const auto frames = RenderNote(64);
  EXPECT_GT(PeakOf(frames), 0.001f);
}

TEST(Synthesizer, PlaysTheSameWhateverThePiecesAre) {
  const auto expected = RenderNote(64);
  for (const std::int64_t piece : {1, 16, 63, 65, 100, 1024, 6000}) {
    EXPECT_EQ(RenderNote(piece), expected) << "in pieces of " << piece;
  }
}

TEST(Synthesizer, PlaysTheMessagesInRawBytes) {
  Synthesizer synthesizer(kSoundFont, 48000);
  synthesizer.Feed(Bytes{0xF3, 0x01, 0xF8, 0x90, 60, 100});
  std::vector<float> frames(2 * 4800);
  synthesizer.Render(frames.data(), 4800);
  EXPECT_GT(PeakOf(frames), 0.001f);
}

TEST(Synthesizer, PassesOverWhatIsCutShortOrMeansNothing) {
  Synthesizer synthesizer(kSoundFont, 48000);
  for (const Bytes& bytes :
       {Bytes{}, Bytes{0x90}, Bytes{0x90, 60}, Bytes{0x90, 0x91}, Bytes{0xC0}, Bytes{0xF0, 1, 2},
        Bytes{0xF0, 0xF7}, Bytes{0xF7}, Bytes{1, 2, 3}, Bytes{0xFF, 0xF2, 1, 2}}) {
    synthesizer.Feed(bytes);
  }
  std::vector<float> frames(2 * 480);
  synthesizer.Render(frames.data(), 480);
  EXPECT_LT(PeakOf(frames), 0.0001f);
}

// ---- what messages do ----

const Bytes kNote{0x90, 69, 100};

/// A synthesizer that plays a sine.
class SineSynthesizer {
 public:
  explicit SineSynthesizer(std::uint32_t iSampleRate = 48000)
      : mSampleRate(iSampleRate),
        mSynthesizer(mFolder.MakeFile("sine.sf2", SineSoundFont::Content()), iSampleRate) {}

  /// What sounds in the tenths of a second after the messages, left and right in turn.
  std::vector<float> Play(const std::vector<Bytes>& iMessages, int iTenths) {
    for (const Bytes& message : iMessages) {
      mSynthesizer.Feed(message);
    }
    const std::int64_t frames = mSampleRate * iTenths / 10;
    std::vector<float> sound(static_cast<std::size_t>(2 * frames));
    mSynthesizer.Render(sound.data(), frames);
    return sound;
  }

 private:
  Test_TempFolder mFolder;
  std::int64_t mSampleRate;
  Synthesizer mSynthesizer;
};

/// How often the left side of a second of sound rises through zero, Hz.
int PitchOf(const std::vector<float>& iSecond) {
  int rises = 0;
  for (std::size_t i = 2; i < iSecond.size(); i += 2) {
    rises += iSecond[i - 2] < 0 && iSecond[i] >= 0 ? 1 : 0;
  }
  return rises;
}

/// The pitch of key 69 after the messages.
int PitchAfter(std::vector<Bytes> iMessages) {
  iMessages.push_back(kNote);
  return PitchOf(SineSynthesizer().Play(iMessages, 10));
}

/// The pitch of key 69, raised by so many semitones.
double Raised(double iSemitones) { return 440 * std::exp2(iSemitones / 12); }

TEST(Synthesizer, PlaysAKeyAtItsPitchWhateverTheSampleRateIs) {
  for (const std::uint32_t rate : {8000u, 44100u, 48000u, 96000u}) {
    EXPECT_NEAR(PitchOf(SineSynthesizer(rate).Play({kNote}, 10)), 440, 2) << rate;
  }
}

TEST(Synthesizer, ANoteOffEndsTheNoteOfItsKeyAndChannel) {
  SineSynthesizer synthesizer;
  synthesizer.Play({kNote, {0x80, 70, 0}, {0x81, 69, 0}}, 10);
  EXPECT_GT(PeakOf(synthesizer.Play({}, 1)), 0.01f);
  synthesizer.Play({{0x80, 69, 0}}, 20);  // the room goes on for a while
  EXPECT_LT(PeakOf(synthesizer.Play({}, 1)), 0.0001f);
}

TEST(Synthesizer, AControllerHoldsForItsChannel) {
  EXPECT_LT(PeakOf(SineSynthesizer().Play({{0xB0, 7, 0}, kNote}, 1)), 0.0001f);
  EXPECT_GT(PeakOf(SineSynthesizer().Play({{0xB1, 7, 0}, kNote}, 1)), 0.01f);
}

TEST(Synthesizer, AProgramIsOfItsChannel) {
  EXPECT_NEAR(PitchAfter({{0xC0, 1}}), Raised(12), 2);
  EXPECT_NEAR(PitchAfter({{0xC1, 1}}), Raised(0), 2);
}

TEST(Synthesizer, KeyPressureIsOfItsKeyAndChannel) {
  EXPECT_NEAR(PitchAfter({{0xA0, 69, 64}}), Raised(6), 2);
  EXPECT_NEAR(PitchAfter({{0xA0, 64, 69}, {0xA1, 69, 64}}), Raised(0), 2);
}

TEST(Synthesizer, ChannelPressureIsOfItsChannel) {
  EXPECT_NEAR(PitchAfter({{0xD0, 64}}), Raised(-6), 2);
  EXPECT_NEAR(PitchAfter({{0xD1, 64}}), Raised(0), 2);
}

TEST(Synthesizer, ABendHasSevenBitsInEachByteTheLowerOnesFirst) {
  EXPECT_NEAR(PitchAfter({{0xE0, 0x00, 0x60}}), Raised(1), 2);
  EXPECT_NEAR(PitchAfter({{0xE0, 0x00, 0x00}}), Raised(-2), 2);
  EXPECT_NEAR(PitchAfter({{0xE1, 0x00, 0x60}}), Raised(0), 2);
  // Two octaves each way show the lower bits.
  const std::vector<Bytes> wide{{0xB0, 101, 0}, {0xB0, 100, 0}, {0xB0, 6, 24}, {0xE0, 0x7F, 0x40}};
  EXPECT_NEAR(PitchAfter(wide), Raised(24.0 * 0x7F / 0x2000), 2);
}

TEST(Synthesizer, ASystemExclusiveMessageTunesTheOctave) {
  Bytes lower{0xF0, 0x7F, 0x7F, 0x08, 0x08, 0x03, 0x7F, 0x7F};
  lower.insert(lower.end(), 12, 0x00);  // 64 cents less for each key
  lower.push_back(0xF7);
  EXPECT_NEAR(PitchAfter({lower}), Raised(-0.64), 2);
}

TEST(Synthesizer, ASystemResetUndoesAll) {
  EXPECT_NEAR(PitchAfter({{0xC0, 1}, {0xE0, 0x00, 0x60}, {0xB0, 7, 0}, {0xFF}}), Raised(0), 2);
}

// ---- the sound font ----

// Threads of OpenMP would belong to the thread that loads, and here end with it. It asks for some of them, so
// that their number isn't a matter of the machine's processors.
TEST(Synthesizer, StartsNoThreads) {
  using SetThreads = void (*)(int);
  const auto setThreads = reinterpret_cast<SetThreads>(::dlsym(RTLD_DEFAULT, "omp_set_num_threads"));
  std::thread([setThreads] {
    if (setThreads != nullptr) {
      setThreads(4);
    }
    const auto before = Test_NamesIn("/proc/self/task");
    const Synthesizer synthesizer(kSoundFont, 48000);
    EXPECT_THAT(Test_NamesIn("/proc/self/task"), testing::IsSubsetOf(before));
  }).join();
}

TEST(Synthesizer, NeedsASoundFontThatIsThere) {
  const Test_TempFolder folder;
  const std::string path = folder / "none.sf2";
  EXPECT_EQ(ErrorOf(path), path + ": cannot open the sound font: No such file or directory");
}

TEST(Synthesizer, NeedsASoundFontThatIsOne) {
  const Test_TempFolder folder;
  const std::string path = folder.MakeFile("a.sf2", "none");
  EXPECT_THAT(ErrorOf(path), testing::StartsWith(path + ": not a sound font that FluidSynth can load: "));
  const std::string empty = folder.MakeFile("empty.sf2", "");
  EXPECT_EQ(ErrorOf(empty), empty + ": byte 0: cannot read the sound font: the file is empty");
  EXPECT_EQ(ErrorOf(folder.Path()), folder.Path() + ": byte 0: cannot read the sound font: Is a directory");
}

TEST(Synthesizer, KeepsItsLogToItself) {
  const Test_TempFolder folder;
  const std::string path = folder.MakeFile("a.sf2", "none");
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  ErrorOf(path);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

}  // namespace
