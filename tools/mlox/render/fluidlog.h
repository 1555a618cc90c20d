// SPDX-License-Identifier: MIT
/// \file
/// Catches what FluidSynth would print, so that it can be said in our own words or not at all.
#pragma once

#include <array>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

namespace tool {

/// While it lives, errors and warnings of FluidSynth are collected here; its chatter is dropped. FluidSynth's
/// log belongs to the process: one object at a time.
class FluidLog {
 public:
  FluidLog();
  FluidLog(const FluidLog&) = delete;
  FluidLog& operator=(const FluidLog&) = delete;
  ~FluidLog();

  /// The distinct texts so far, oldest first, at most kMaxTexts. [any]
  std::vector<std::string> Texts() const;

  /// Adds a text unless it is known. [any]
  void Add(const char* iText);

 private:
  static constexpr std::size_t kMaxTexts = 100;
  /// FluidSynth's levels: panic, error, warning, information, debugging.
  static constexpr int kLevels = 5;
  using Function = void (*)(int, const char*, void*);
  /// Stands for GLib's type of handler, whose header stays out of ours.
  using GLibFunction = void (*)();

  static void Collect(int iLevel, const char* iText, void* iLogP);

  mutable std::mutex mMutex;
  std::vector<std::string> mTexts;
  std::array<Function, kLevels> mFormer{};
  GLibFunction mFormerGLib = nullptr;
};

}  // namespace tool
