// SPDX-License-Identifier: MIT
#include "mlox/mlox_outputdescriptor.h"

#include <gtest/gtest.h>

#include "tests/support/fake_service.h"

namespace {

TEST(Mlox_OutputDescriptor, HoldsTheDeviceAndTheChannel) {
  const auto device = Test_MakeDescriptor("Piano", 1);
  const Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> descriptor(new Mlox_OutputDescriptor(device, 15));
  EXPECT_EQ(descriptor->GetDeviceDescriptor(), device);
  EXPECT_EQ(descriptor->GetChannel(), 15);
}

TEST(Mlox_OutputDescriptor, ChannelMinus1IsTheCommonOutput) {
  EXPECT_EQ(Test_MakeOutputDescriptor("Piano", 1, -1)->GetChannel(), -1);
}

TEST(Mlox_OutputDescriptor, LastReferenceFreesTheDevicesDescriptor) {
  const auto device = Test_MakeDescriptor("Piano", 1);
  {
    const Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> first(new Mlox_OutputDescriptor(device, 3));
    const Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> second(first);
    EXPECT_EQ(device.use_count(), 2);
  }
  EXPECT_EQ(device.use_count(), 1);
}

}  // namespace
