// SPDX-License-Identifier: MIT
#include "tools/mlox/render/renderfigures.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

namespace tool {

std::string ToJson(const RenderFigures& iFigures) {
  const nlohmann::ordered_json json = {
      {"events_written", iFigures.mEventsWritten},
      {"messages_delivered", iFigures.mMessagesDelivered},
      {"late", iFigures.mLate},
      {"dropped", iFigures.mDropped},
      {"pull_max_us", iFigures.mPullMaxUs},
      {"pull_p999_us", iFigures.mPullP999Us},
      {"real_time_factor", iFigures.mRealTimeFactor},
      {"frames", iFigures.mFrames},
      {"peak", iFigures.mPeak},
  };
  return json.dump() + "\n";
}

std::string ToText(const RenderFigures& iFigures) {
  const WayCounters& way = iFigures.mWay;
  return fmt::format(
      "events written      {}\n"
      "messages delivered  {}\n"
      "late                {}\n"
      "dropped             {}\n"
      "longest pull        {:.1f} us\n"
      "99.9 % of pulls     {:.1f} us or less\n"
      "real-time factor    {:.1f}\n"
      "frames              {}, peak {:.3f}\n"
      "blocks              {}, {} of them pulled while writers wrote\n"
      "path                {} buffered pulls gave {} messages, {} direct calls, {} handed over\n",
      iFigures.mEventsWritten, iFigures.mMessagesDelivered, iFigures.mLate, iFigures.mDropped,
      iFigures.mPullMaxUs, iFigures.mPullP999Us, iFigures.mRealTimeFactor, iFigures.mFrames, iFigures.mPeak,
      iFigures.mBlocks, iFigures.mBlocksPulledWhileWriting, way.mPulls, way.mPulledMessages, way.mDirectCalls,
      way.mHandedOver);
}

}  // namespace tool
