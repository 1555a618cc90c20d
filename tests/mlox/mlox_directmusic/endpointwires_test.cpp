// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/endpointwires.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "tests/support/fake_studio.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Claims so many connections and answers for each as it is told.
class ClaimingEndpoint : public IEndpointProperties {
 public:
  using Answer = std::function<std::shared_ptr<IEndpointIDs>(int)>;

  ClaimingEndpoint(int iCount, Answer iAnswer) : mCount(iCount), mAnswer(std::move(iAnswer)) {}
  HRESULT GetNumConnections(int* oCount) override {
    *oCount = mCount;
    return S_OK;
  }
  HRESULT GetConnection(int iIndex, std::shared_ptr<IEndpointIDs>* oIDs) override {
    ++mAsked;
    *oIDs = mAnswer(iIndex);
    return *oIDs != nullptr ? S_OK : E_FAIL;
  }
  HRESULT GetIDs(std::shared_ptr<IEndpointIDs>*) override { return E_FAIL; }
  HRESULT CompareRaw(std::shared_ptr<IEndpointProperties>) override { return S_FALSE; }

  int mAsked = 0;

 private:
  const int mCount;
  const Answer mAnswer;
};

class EndpointWiresTest : public testing::Test {
 protected:
  EndpointWiresTest() {
    for (const char* const id : {"A", "B"}) {
      mIDs.push_back(mStudio->IDsOf(mStudio->AddPort(id, id, false)));
    }
  }
  ~EndpointWiresTest() override { Test_FakeStudio::Uninstall(); }

  // Which of the two are visited, in order.
  std::vector<int> Visited(const std::shared_ptr<IEndpointProperties>& iEndpoint, std::size_t iMost = 100) {
    std::vector<int> visited;
    VisitConnections(iEndpoint, [&](const std::shared_ptr<IEndpointIDs>& iFarEnd) {
      visited.push_back(iFarEnd == mIDs[0] ? 0 : 1);
      return visited.size() < iMost;
    });
    return visited;
  }

  std::shared_ptr<Test_FakeStudio> mStudio = Test_FakeStudio::Install();
  std::vector<std::shared_ptr<IEndpointIDs>> mIDs;
};

TEST_F(EndpointWiresTest, VisitsInOrderAndPassesOverWhatCannotBeRead) {
  const auto endpoint = std::make_shared<ClaimingEndpoint>(
      4, [&](int iIndex) { return iIndex == 1 ? nullptr : mIDs[iIndex == 0 ? 1 : 0]; });
  EXPECT_THAT(Visited(endpoint), ElementsAre(1, 0, 0));
  EXPECT_THAT(Visited(nullptr), IsEmpty());
}

TEST_F(EndpointWiresTest, EndsWhenTheVisitorHasSeenEnough) {
  const auto endpoint = std::make_shared<ClaimingEndpoint>(4, [&](int) { return mIDs[0]; });
  EXPECT_THAT(Visited(endpoint, 2), ElementsAre(0, 0));
  EXPECT_EQ(endpoint->mAsked, 2);
}

TEST_F(EndpointWiresTest, EndsAfter4096FailuresInARow) {
  const auto endpoint = std::make_shared<ClaimingEndpoint>(
      2000000000, [&](int iIndex) { return iIndex == 4095 ? mIDs[0] : nullptr; });
  EXPECT_THAT(Visited(endpoint), ElementsAre(0));
  EXPECT_EQ(endpoint->mAsked, 4096 + 4096) << "one that can be read begins the count anew";
}

TEST_F(EndpointWiresTest, EndsAfter65536ConnectionsHoweverManyAreClaimed) {
  const auto endpoint = std::make_shared<ClaimingEndpoint>(2000000000, [&](int) { return mIDs[0]; });
  EXPECT_EQ(Visited(endpoint, 100000).size(), 65536u);
}

}  // namespace
