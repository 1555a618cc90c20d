// SPDX-License-Identifier: MIT
/// \file
/// Times and lengths. Inside this library every time stamp is a count of samples; `Time_EType` is carried
/// along.
#pragma once

#include <compare>
#include <cstdint>

/// What a typed time or length counts. It is stored and compared, never interpreted.
enum Time_EType : std::int32_t {
  Time_cSamples = 0,  ///< Samples of the application's clock.
  Time_cTicks = 1     ///< Musical ticks of the application's tempo map.
};

/// A length in samples, which may be negative.
class Time_SampleLength {
 public:
  /// No length.
  constexpr Time_SampleLength() = default;
  /// A length of this many samples.
  constexpr explicit Time_SampleLength(std::int64_t iSamples) : mSamples(iSamples) {}
  /// The number of samples.
  [[nodiscard]] constexpr std::int64_t AsInt64() const { return mSamples; }
  /// Compares the numbers.
  constexpr auto operator<=>(const Time_SampleLength&) const = default;
  /// The sum of two lengths.
  friend constexpr Time_SampleLength operator+(Time_SampleLength iLeft, Time_SampleLength iRight) {
    return Time_SampleLength(iLeft.mSamples + iRight.mSamples);
  }

 private:
  std::int64_t mSamples = 0;
};

/// A point in time: the number of a sample, which may be negative.
class Time_Sample {
 public:
  /// Sample 0.
  constexpr Time_Sample() = default;
  /// The sample with this number.
  constexpr explicit Time_Sample(std::int64_t iSample) : mSample(iSample) {}
  /// The sample's number.
  [[nodiscard]] constexpr std::int64_t AsInt64() const { return mSample; }
  /// Compares the numbers.
  constexpr auto operator<=>(const Time_Sample&) const = default;

 private:
  std::int64_t mSample = 0;
};

/// A length in units of its type.
class Time_TypedLength {
 public:
  /// A length in units of the type.
  constexpr Time_TypedLength(std::int64_t iLength, Time_EType iType) : mLength(iLength), mType(iType) {}
  /// The length in units of the type.
  [[nodiscard]] constexpr std::int64_t AsInt64() const { return mLength; }
  /// The type.
  [[nodiscard]] constexpr Time_EType GetType() const { return mType; }
  /// Compares the numbers; lengths of different types are not converted.
  friend constexpr bool operator>=(const Time_TypedLength& iLeft, const Time_TypedLength& iRight) {
    return iLeft.mLength >= iRight.mLength;
  }

 private:
  std::int64_t mLength;
  Time_EType mType;
};

/// What all typed times share; `Derived` is the class that derives from it.
template <class Derived>
class Time_TypedBase {
 public:
  /// The time as a sample.
  [[nodiscard]] constexpr Time_Sample AsSample() const { return Time_Sample(mValue); }
  /// The type that was stored.
  [[nodiscard]] constexpr Time_EType GetType() const { return mType; }

 protected:
  constexpr Time_TypedBase() = default;
  constexpr Time_TypedBase(std::int64_t iValue, Time_EType iType) : mValue(iValue), mType(iType) {}

 private:
  std::int64_t mValue = 0;
  Time_EType mType = Time_cSamples;
};

/// A point in time with its type, 0 samples at first.
class Time_Typed : public Time_TypedBase<Time_Typed> {
 public:
  /// Sample 0.
  constexpr Time_Typed() = default;
  /// The time of a sample.
  constexpr explicit Time_Typed(const Time_Sample& iSample)
      : Time_TypedBase<Time_Typed>(iSample.AsInt64(), Time_cSamples) {}
};
