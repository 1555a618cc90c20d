// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_notificationcallback.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Mlox_DirectMusic_NotificationCallback, ItsIDIsAFixedGuidsTextAndEachCallGivesACopyOfItsOwn) {
  Mlox_DirectMusic_NotificationCallback callback;
  Mlox_DirectMusic_NotificationCallback other;
  CComBSTRLite first;
  CComBSTRLite second;
  CComBSTRLite third;
  ASSERT_EQ(callback.GetID(first.Reset()), S_OK);
  ASSERT_EQ(callback.GetID(second.Reset()), S_OK);
  ASSERT_EQ(other.GetID(third.Reset()), S_OK);
  EXPECT_EQ(first.AsString(), "{7C0B6E52-3F1D-4C8A-9E47-1B5D2A90C6F3}");
  EXPECT_EQ(second.AsString(), first.AsString());
  EXPECT_EQ(third.AsString(), first.AsString());
  EXPECT_NE(static_cast<OLECHAR*>(first), static_cast<OLECHAR*>(second));
}

TEST(Mlox_DirectMusic_NotificationCallback, GetIDRefusesANullPointer) {
  Mlox_DirectMusic_NotificationCallback callback;
  EXPECT_EQ(callback.GetID(nullptr), E_INVALIDARG);
}

}  // namespace
