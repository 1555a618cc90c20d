// SPDX-License-Identifier: MIT
/// \file
/// The binder of the optional tracing library, and the shape of a trace site.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

/// Finds the tracing library when this library is loaded, and binds its entry points. Without one, nothing
/// breaks: each trace site tests `sTraceIsActive` and does nothing.
///
/// One object of static storage binds; the entry points are process-wide. Binding ends before any operation
/// of the library can run. From then on the flag and the pointers are only read, from any thread, real-time
/// ones included.
class QuilTraceLibrary {
 public:
  /// The signature of `QuilTraceFormat`: category, printf format, arguments.
  using FormatProc
      [[gnu::format(printf, 2, 3)]] = void (*)(std::uint32_t iCategory, const char* iFormatP, ...);
  /// The signature of `QuilTraceFacilityOnFunc`: whether a category is on.
  using FacilityOnProc = bool (*)(std::uint32_t iCategory);
  /// The signature of `QuilTraceIsActiveFunc`. Its result is one byte.
  using IsActiveProc = unsigned char (*)();
  /// The signature of an entry point that is bound and not called.
  using BoundOnlyProc = void (*)();

  /// The names that are bound.
  static constexpr std::size_t kEntryPointCount = 25;
  /// The result of binding a name that the library lacks.
  static constexpr std::int32_t kNameNotFound = -1501;
  /// The result of binding a name when no library could be loaded.
  static constexpr std::int32_t kLibraryNotFound = -1502;

  /// What became of one name.
  struct EntryPoint {
    const char* mNameP;    ///< The exported name.
    BoundOnlyProc mProcP;  ///< What the name stands for; null if it wasn't found.
    std::int32_t mResult;  ///< 0, `kNameNotFound` or `kLibraryNotFound`.
  };

  /// Not 0 when all names were bound and the tracing library says that it is active. Every trace site reads
  /// it first.
  static std::atomic<int> sTraceIsActive;
  /// Writes a formatted line. Null unless bound; called only behind `IsOn`.
  static FormatProc sFormat;
  /// Says whether a category is on. Null unless bound; called only behind `sTraceIsActive`.
  static FacilityOnProc sFacilityOn;

  /// Whether a line of this category would be written. With tracing off this is one test of an integer. [any]
  static bool IsOn(std::uint32_t iCategory) {
    return sTraceIsActive.load(std::memory_order_acquire) != 0 && sFacilityOn(iCategory);
  }

  /// Binds all names.
  QuilTraceLibrary();
  QuilTraceLibrary(const QuilTraceLibrary&) = delete;
  QuilTraceLibrary& operator=(const QuilTraceLibrary&) = delete;
  /// Switches tracing off. The tracing library stays loaded and the pointers keep their values: a thread that
  /// passed its test a moment ago may be inside a call.
  ~QuilTraceLibrary();

  /// The binder, or null before it is made and after it is destroyed.
  static const QuilTraceLibrary* Get();

  /// The names in the order of binding, with their results.
  static const std::array<EntryPoint, kEntryPointCount>& GetEntryPoints();

 private:
  void BindAll();
  std::int32_t Bind(EntryPoint& ioEntry);

  std::string mFileName;
  void* mModuleP = nullptr;
};

/// A trace site: `QUIL_TRACE(category, format, arguments...)` writes the line when tracing is active and the
/// category is on. The arguments are evaluated only then. The compiler is told that this is seldom, so that
/// what runs with tracing off is a load and a branch that isn't taken.
#define QUIL_TRACE(category, ...)                                                                      \
  do {                                                                                                 \
    if (QuilTraceLibrary::sTraceIsActive.load(std::memory_order_acquire) != 0) [[unlikely]] {          \
      if (QuilTraceLibrary::sFacilityOn(category)) QuilTraceLibrary::sFormat((category), __VA_ARGS__); \
    }                                                                                                  \
  } while (false)
