// SPDX-License-Identifier: MIT
#include "cmn/sys_umid.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

TEST(Sys_Umid, DefaultIsNilAndCreatedOnesAreNot) {
  EXPECT_EQ(Sys_Umid().AsString(), "00000000000000000000000000000000");
  EXPECT_NE(Sys_Umid::Create(), Sys_Umid());
}

TEST(Sys_Umid, TextIs32HexadecimalDigitsAndDiffersAsTheValuesDo) {
  const Sys_Umid first = Sys_Umid::Create();
  const Sys_Umid second = Sys_Umid::Create();
  EXPECT_THAT(first.AsString(), testing::MatchesRegex("[0-9A-F]{32}"));
  EXPECT_NE(first, second);
  EXPECT_NE(first.AsString(), second.AsString());
  const Sys_Umid copy = first;  // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_EQ(copy, first);
}

TEST(Sys_Umid, ThousandsMadeOnSeveralThreadsAreAllDifferent) {
  constexpr int kThreads = 4;
  constexpr int kEach = 1000;
  std::vector<std::vector<std::string>> made(kThreads);
  std::vector<std::thread> threads;
  for (auto& texts : made)
    threads.emplace_back([&texts] {
      for (int i = 0; i < kEach; ++i) texts.push_back(Sys_Umid::Create().AsString());
    });
  for (std::thread& thread : threads) thread.join();
  std::set<std::string> different;
  for (const auto& texts : made) different.insert(texts.begin(), texts.end());
  EXPECT_EQ(different.size(), 4000U);
  for (std::size_t group = 0; group < 32; group += 8) {
    std::set<std::string> words;
    for (const std::string& text : different) words.insert(text.substr(group, 8));
    EXPECT_GT(words.size(), 1000U) << "each word takes part, from digit " << group << " on";
  }
}

TEST(Sys_Umid, ForkedProcessesMakeDifferentOnes) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  if (child == 0) {
    const std::string text = Sys_Umid::Create().AsString();
    _exit(write(ends[1], text.data(), text.size()) == 32 ? 0 : 1);
  }
  ASSERT_GT(child, 0);
  const std::string mine = Sys_Umid::Create().AsString();
  std::string theirs(32, ' ');
  EXPECT_EQ(read(ends[0], theirs.data(), theirs.size()), 32);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_NE(mine, theirs);
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
