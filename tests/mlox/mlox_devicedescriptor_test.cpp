// SPDX-License-Identifier: MIT
// The base, and what holds for its concrete classes together.
#include "mlox/mlox_devicedescriptor.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cmn/cmn_hashstring.h"
#include "mlox/mlox_directmusic_devicedescriptor.h"
#include "mlox/mlox_genericdevdescriptor.h"
#include "mlox/mlox_oms_devicedescriptor.h"
#include "mlox/mlox_osx_devicedescriptor.h"

namespace {

using Descriptor = std::shared_ptr<const Mlox_DeviceDescriptor>;

constexpr auto kInput = Mlox_DeviceDescriptor::kInput;
constexpr auto kOutput = Mlox_DeviceDescriptor::kOutput;

// One of each class with this name; the number goes to all that have one.
std::vector<Descriptor> OneOfEach(const std::string& iName, short iNumber,
                                  Mlox_DeviceDescriptor::DeviceType iType) {
  const bool isInput = iType == kInput;
  return {Mlox_GenericDevDescriptor::New(iName, iType),
          isInput ? Mlox_OSX_DeviceDescriptor::NewInput(iNumber, iName)
                  : Mlox_OSX_DeviceDescriptor::NewOutput(iNumber, iName),
          isInput ? Mlox_OMS_DeviceDescriptor::NewInput(iNumber, iName)
                  : Mlox_OMS_DeviceDescriptor::New(iNumber, iName),
          std::make_shared<Mlox_DirectMusic_DeviceDescriptor>(iType, iName, iNumber)};
}

// Implements what it must and nothing else.
class BareDescriptor : public Mlox_DeviceDescriptor {
 public:
  BareDescriptor() = default;
  explicit BareDescriptor(DeviceType iType) : Mlox_DeviceDescriptor(iType) {}
  bool Equals(const Mlox_DeviceDescriptor*) const override { return false; }
  std::string GetName() const override { return ""; }
  int GetHashValue() const override { return 0; }
};

TEST(Mlox_DeviceDescriptor, TheBaseIsAnOutputThatAllowsFallbackAndIsNeitherIACNorPlugIn) {
  const BareDescriptor descriptor;
  EXPECT_TRUE(descriptor.IsOutput());
  EXPECT_FALSE(descriptor.IsInput());
  EXPECT_EQ(static_cast<int>(descriptor.GetMatchType()), 0);
  EXPECT_FALSE(descriptor.IsIACDevice());
  EXPECT_FALSE(descriptor.IsPlugIn());
}

TEST(Mlox_DeviceDescriptor, CopyingCopiesTheType) {
  const BareDescriptor input(kInput);
  const BareDescriptor copy(input);  // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_TRUE(copy.IsInput());
  BareDescriptor assigned;
  assigned = input;
  EXPECT_TRUE(assigned.IsInput());
}

TEST(Mlox_DeviceDescriptor, TypesAndMatchTypesHaveTheNumbersThatAreSaved) {
  EXPECT_EQ(static_cast<int>(kOutput), 0);
  EXPECT_EQ(static_cast<int>(kInput), 1);
  EXPECT_EQ(static_cast<int>(Mlox_DeviceDescriptor::kMatchAllowFallback), 0);
  EXPECT_EQ(static_cast<int>(Mlox_DeviceDescriptor::kMatchExactOnly), 1);
}

TEST(Mlox_DeviceDescriptor, NoneEqualsOneOfAnotherClassWhateverTheFieldsSay) {
  std::vector<Descriptor> descriptors = OneOfEach("Piano", 7, kOutput);
  // Those with the hash value of the one that has no number.
  const int hash = static_cast<int>(Cmn_HashString("Piano"));
  const Descriptor alike[] = {Mlox_OSX_DeviceDescriptor::NewOutput(hash, "Piano"),
                              std::make_shared<Mlox_DirectMusic_DeviceDescriptor>(kOutput, "Piano", hash)};
  for (std::size_t left = 0; left < descriptors.size(); ++left) {
    for (std::size_t right = 0; right < descriptors.size(); ++right) {
      EXPECT_EQ(descriptors[left]->Equals(descriptors[right].get()), left == right) << left << " " << right;
    }
  }
  for (const Descriptor& other : alike) {
    EXPECT_FALSE(descriptors[0]->Equals(other.get()));
    EXPECT_FALSE(other->Equals(descriptors[0].get()));
  }
}

TEST(Mlox_DeviceDescriptor, InEveryClassInputAndOutputAreEqualInBothDirections) {
  const std::vector<Descriptor> outputs = OneOfEach("Piano", 7, kOutput);
  const std::vector<Descriptor> inputs = OneOfEach("Piano", 7, kInput);
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    EXPECT_TRUE(outputs[i]->IsOutput() && inputs[i]->IsInput()) << i;
    EXPECT_TRUE(outputs[i]->Equals(inputs[i].get())) << i;
    EXPECT_TRUE(inputs[i]->Equals(outputs[i].get())) << i;
  }
}

TEST(Mlox_DeviceDescriptor, InEveryClassZeroBytesOfANameCount) {
  const std::string name("Piano\0A", 7);
  const std::vector<Descriptor> descriptors = OneOfEach(name, 7, kOutput);
  const std::vector<Descriptor> same = OneOfEach(name, 7, kOutput);
  const std::vector<Descriptor> shorter = OneOfEach("Piano", 7, kOutput);
  const std::vector<Descriptor> other = OneOfEach(std::string("Piano\0B", 7), 7, kOutput);
  for (std::size_t i = 0; i < descriptors.size(); ++i) {
    EXPECT_EQ(descriptors[i]->GetName(), name) << i;
    EXPECT_TRUE(descriptors[i]->Equals(same[i].get())) << i;
    EXPECT_FALSE(descriptors[i]->Equals(shorter[i].get())) << i;
    EXPECT_FALSE(shorter[i]->Equals(descriptors[i].get())) << i;
    EXPECT_FALSE(descriptors[i]->Equals(other[i].get())) << i;
  }
  EXPECT_NE(descriptors[0]->GetHashValue(), shorter[0]->GetHashValue());
}

TEST(Mlox_DeviceDescriptor, NumbersOf32BitsCompareWhole) {
  EXPECT_FALSE(Mlox_OSX_DeviceDescriptor::NewOutput(0x10007, "Piano")
                   ->Equals(Mlox_OSX_DeviceDescriptor::NewOutput(7, "Piano").get()));
  const Mlox_DirectMusic_DeviceDescriptor low(kOutput, "Piano", 7);
  const Mlox_DirectMusic_DeviceDescriptor high(kOutput, "Piano", 0x10007);
  EXPECT_FALSE(low.Equals(&high));
}

template <class Concrete>
void ExpectOrdinaryCopiesAndMoves(const Descriptor& iOriginal, const Descriptor& iOther) {
  Concrete copy(dynamic_cast<const Concrete&>(*iOriginal));
  EXPECT_TRUE(copy.Equals(iOriginal.get()));
  EXPECT_TRUE(copy.IsInput());
  const Concrete moved(std::move(copy));
  EXPECT_TRUE(moved.Equals(iOriginal.get()));
  EXPECT_TRUE(moved.IsInput());
  Concrete assigned(dynamic_cast<const Concrete&>(*iOther));
  EXPECT_FALSE(assigned.Equals(iOriginal.get()));
  assigned = moved;
  EXPECT_TRUE(assigned.Equals(iOriginal.get()));
  EXPECT_TRUE(assigned.IsInput());
  EXPECT_FALSE(assigned.IsIACDevice());
}

TEST(Mlox_DeviceDescriptor, CopiesAndMovesOfEveryClassAreOrdinary) {
  const std::vector<Descriptor> originals = OneOfEach("Piano", 7, kInput);
  const std::vector<Descriptor> others = OneOfEach("Organ", 8, kOutput);
  ExpectOrdinaryCopiesAndMoves<Mlox_GenericDevDescriptor>(originals[0], others[0]);
  ExpectOrdinaryCopiesAndMoves<Mlox_OSX_DeviceDescriptor>(originals[1], others[1]);
  ExpectOrdinaryCopiesAndMoves<Mlox_OMS_DeviceDescriptor>(originals[2], others[2]);
  ExpectOrdinaryCopiesAndMoves<Mlox_DirectMusic_DeviceDescriptor>(originals[3], others[3]);
}

}  // namespace
