// SPDX-License-Identifier: MIT
#include "platform/directmusic/directmusic.h"

#include <gtest/gtest.h>

#include <string>

#include "cmn/i18n_stutf8buffer.h"

namespace {

std::string TextOf(REFGUID iGuid) {
  OLECHAR text[40] = {};
  EXPECT_EQ(StringFromGUID2(iGuid, text, 40), 39);
  return I18N_StUTF8Buffer(text).get();
}

// They are Windows' own values: whoever asks by them there must mean the same.
TEST(DirectMusic, TheRootIsKnownByTheIdsOfItsClassAndItsInterface) {
  EXPECT_EQ(TextOf(CLSID_DirectMusic), "{636B9F10-0C7D-11D1-95B2-0020AFDC7421}");
  EXPECT_EQ(TextOf(IID_IDirectMusic8), "{2D3629F7-813D-4939-8508-F05C6B75FD97}");
}

TEST(DirectMusic, TheFlagsOfComAreThoseOfWindows) {
  EXPECT_EQ(COINIT_APARTMENTTHREADED, 2u);
  EXPECT_EQ(CLSCTX_INPROC_SERVER, 1u);
}

}  // namespace
