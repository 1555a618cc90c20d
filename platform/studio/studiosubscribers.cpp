// SPDX-License-Identifier: MIT
#include "platform/studio/studiosubscribers.h"

#include <algorithm>
#include <exception>

#include "platform/directmusic/windows_com.h"
#include "platform/studio/studionotificationlist.h"
#include "platform/studio/studioreport.h"
#include "platform/studio/studiotext.h"

HRESULT Platform_StudioSubscribers::Register(
    const std::shared_ptr<IDirectMusicNotificationCallback>& iCallback, std::uint64_t iAfter) {
  BSTR id = nullptr;
  if (iCallback == nullptr || iCallback->GetID(&id) != S_OK) {
    return E_INVALIDARG;
  }
  const std::string text = Platform_StudioToUtf8(id);
  SysFreeString(id);
  const std::lock_guard lock(mMutex);
  std::erase_if(mSubscribers, [&](const Subscriber& iSubscriber) { return iSubscriber.mID == text; });
  mSubscribers.push_back({text, iCallback, iAfter});
  return S_OK;
}

HRESULT Platform_StudioSubscribers::Unregister(const OLECHAR* iID) {
  if (iID == nullptr) {
    return E_INVALIDARG;
  }
  const std::string text = Platform_StudioToUtf8(iID);
  std::unique_lock lock(mMutex);
  const auto found = std::find_if(mSubscribers.begin(), mSubscribers.end(),
                                  [&](const Subscriber& iSubscriber) { return iSubscriber.mID == text; });
  if (found == mSubscribers.end()) {
    return S_FALSE;
  }
  // Held until the wait is over, so that its address can't become another subscriber's.
  const std::shared_ptr<IDirectMusicNotificationCallback> callback = found->mCallback;
  mSubscribers.erase(found);
  mEnded.wait(lock, [&] { return mRunning != callback.get() || mThread == std::this_thread::get_id(); });
  lock.unlock();
  return S_OK;
}

void Platform_StudioSubscribers::Clear() {
  std::vector<Subscriber> subscribers;
  std::unique_lock lock(mMutex);
  subscribers.swap(mSubscribers);
  mEnded.wait(lock, [this] { return mRunning == nullptr || mThread == std::this_thread::get_id(); });
}

bool Platform_StudioSubscribers::IsRegistered(const Subscriber& iSubscriber) const {
  return std::any_of(mSubscribers.begin(), mSubscribers.end(),
                     [&](const Subscriber& iOther) { return iOther.mCallback == iSubscriber.mCallback; });
}

void Platform_StudioSubscribers::Tell(const Subscriber& iSubscriber,
                                      const std::shared_ptr<IDirectMusicNotificationList>& iList) {
  {
    const std::lock_guard lock(mMutex);
    if (!IsRegistered(iSubscriber)) {
      return;
    }
    mRunning = iSubscriber.mCallback.get();
    mThread = std::this_thread::get_id();
  }
  try {
    iSubscriber.mCallback->Notify(iList);
  } catch (const std::exception& fault) {
    Platform_StudioReport(std::string("a subscriber to studio changes failed: ") + fault.what());
  }
  {
    const std::lock_guard lock(mMutex);
    mRunning = nullptr;
  }
  mEnded.notify_all();
}

void Platform_StudioSubscribers::Deliver(const std::shared_ptr<Platform_StudioCore>& iCore,
                                         const std::deque<Platform_StudioNews>& iNews) {
  for (const Platform_StudioNews& news : iNews) {
    std::vector<Subscriber> subscribers;
    {
      const std::lock_guard lock(mMutex);
      subscribers = mSubscribers;
    }
    for (const Subscriber& subscriber : subscribers) {
      if (news.mNumber > subscriber.mAfter) {
        Tell(subscriber, std::make_shared<Platform_StudioNotificationList>(iCore, news.mItems));
      }
    }
  }
}
