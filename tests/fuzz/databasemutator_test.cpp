// SPDX-License-Identifier: MIT
#include "fuzz/databasemutator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "platform/studio/studiodatabase.h"
#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr unsigned kSeeds = 300;
constexpr std::size_t kMostSize = 1'000'000;

// The file of a studio with a device of the user's on a port.
Bytes Studio() {
  const Test_TempFolder folder;
  const std::string path = folder / "studio.db";
  {
    auto user = std::make_shared<Platform_StudioDevice>();
    user->mGuid = "{user}";
    user->mIsUserDefined = true;
    user->mName = "name";
    user->mProperties[{2, "{key}"}] = {"name", "value"};
    user->mLists[{2, "{list}"}] = {"modes", {"a", "b"}};
    user->mBanks = {{"bank", "/file", "list"}};
    auto port = std::make_shared<Platform_StudioDevice>();
    port->mGuid = "{port}";
    Platform_StudioDatabase database(path);
    Platform_StudioContents contents;
    EXPECT_EQ(database.Open(contents), Platform_StudioStanding::kGood) << database.Reason();
    EXPECT_EQ(database.Write({Platform_StudioAddDevice{user}, Platform_StudioAddDevice{port},
                              Platform_StudioPutWire{{"{user}", "{port}"}, true},
                              Platform_StudioPutNumber{{{"{user}", 0, false}, "{id}"}, {"mloxID", 7}},
                              Platform_StudioPutIdentity{{"{port}", "p", "s", "path"}}}),
              Platform_StudioStanding::kGood)
        << database.Reason();
  }
  const std::string text = Test_ReadFile(path);
  return {text.begin(), text.end()};
}

// What comes of the bytes; empty when the change was refused.
Bytes Mutate(const Bytes& iBytes, unsigned iSeed, std::size_t iMaxSize = kMostSize) {
  Bytes data = iBytes;
  data.resize(std::max(iMaxSize, iBytes.size()));
  const std::size_t size = Fuzz_MutateDatabase(data.data(), iBytes.size(), iMaxSize, iSeed);
  if (size == 0) {
    EXPECT_TRUE(std::equal(iBytes.begin(), iBytes.end(), data.begin())) << "refused, and yet changed";
  }
  data.resize(size);
  return data;
}

TEST(DatabaseMutator, WhatComesOfADatabaseIsAnotherOneAndMostlyAWellFormedOne) {
  const Bytes studio = Studio();
  ASSERT_FALSE(studio.empty());
  std::set<Bytes> different;
  int readable = 0;
  const Test_TempFolder folder;
  for (unsigned seed = 0; seed < kSeeds; ++seed) {
    const Bytes bytes = Mutate(studio, seed);
    if (bytes.empty()) continue;
    different.insert(bytes);
    const std::string path = folder / std::to_string(seed);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    Platform_StudioDatabase database(path);
    Platform_StudioContents contents;
    readable += database.Open(contents) == Platform_StudioStanding::kGood ? 1 : 0;
  }
  EXPECT_GT(different.size(), kSeeds / 4);
  EXPECT_GT(readable, static_cast<int>(kSeeds / 2));
}

TEST(DatabaseMutator, TheSameSeedMakesTheSameChange) {
  const Bytes studio = Studio();
  for (unsigned seed = 0; seed < 20; ++seed) {
    EXPECT_EQ(Mutate(studio, seed), Mutate(studio, seed)) << seed;
  }
}

TEST(DatabaseMutator, WhatIsNoDatabaseIsRefused) {
  for (const Bytes& bytes : {Bytes(), Bytes(99, 'x'), Bytes(5000, 'x')}) {
    EXPECT_TRUE(Mutate(bytes, 1).empty());
  }
}

TEST(DatabaseMutator, AChangeThatDoesNotFitIsRefused) {
  const Bytes studio = Studio();
  for (unsigned seed = 0; seed < 20; ++seed) {
    EXPECT_TRUE(Mutate(studio, seed, studio.size() - 1).empty()) << seed;
  }
}

}  // namespace
