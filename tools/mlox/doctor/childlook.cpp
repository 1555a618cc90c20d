// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/childlook.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#if defined(__linux__)
#include <sys/prctl.h>
#endif

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>
#include <thread>

namespace tool {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// How long a killed process may take to go. One that waits inside the kernel goes when that lets it.
constexpr milliseconds kDying{500};
// More than any facts are; a child that sends more is no child of ours any longer.
constexpr std::size_t kMostBytes = std::size_t{4} * 1024 * 1024;

// Files that a look may open at a time. With fewer to be had it would find closed what is open to others.
constexpr int kFilesOfLook = 16;

// ---- the answer: a row of texts, each behind its length, and behind them how it ended ----

struct AnswerEnd {
  std::uint32_t mMark = 0;
  std::int32_t mFault = 0;  // errno of what could not be had; 0 when all was
};
constexpr std::uint32_t kMark = 0x444E4521;

std::string Bytes(const AnswerEnd& iEnd) { return {reinterpret_cast<const char*>(&iEnd), sizeof(iEnd)}; }

// Takes the end off the answer. False when there is none: whoever wrote it didn't come so far.
bool TakeEnd(std::string& ioBytes, AnswerEnd& oEnd) {
  if (ioBytes.size() < sizeof(oEnd)) return false;
  std::memcpy(&oEnd, ioBytes.data() + ioBytes.size() - sizeof(oEnd), sizeof(oEnd));
  ioBytes.resize(ioBytes.size() - sizeof(oEnd));
  return oEnd.mMark == kMark;
}

std::string Packed(const std::vector<std::string>& iFields) {
  std::string bytes;
  for (const std::string& field : iFields) {
    const auto length = static_cast<std::uint32_t>(field.size());
    bytes.append(reinterpret_cast<const char*>(&length), sizeof(length));
    bytes += field;
  }
  return bytes;
}

bool Unpack(const std::string& iBytes, std::vector<std::string>& oFields) {
  std::size_t at = 0;
  while (at < iBytes.size()) {
    std::uint32_t length = 0;
    if (iBytes.size() - at < sizeof(length)) return false;
    std::memcpy(&length, iBytes.data() + at, sizeof(length));
    at += sizeof(length);
    if (iBytes.size() - at < length) return false;
    oFields.push_back(iBytes.substr(at, length));
    at += length;
  }
  return true;
}

// ---- the child ----

void WriteAll(int iFile, const std::string& iBytes) {
  std::size_t done = 0;
  while (done < iBytes.size()) {
    const ssize_t count = ::write(iFile, iBytes.data() + done, iBytes.size() - done);
    if (count < 0 && errno != EINTR) ::_exit(1);
    if (count > 0) done += static_cast<std::size_t>(count);
  }
}

[[noreturn]] void EndChild(int iAnswer, const std::string& iTexts, int iFault) {
  WriteAll(iAnswer, iTexts + Bytes({kMark, iFault}));
  ::_exit(0);
}

// Whether an error says that this process may not have more of something.
bool IsOfLimit(int iFault) {
  return iFault == EAGAIN || iFault == EMFILE || iFault == ENFILE || iFault == ENOMEM;
}

// Nothing in the place of the standard streams, and files to spare. Gives errno of what can't be had.
int Settle() {
  const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  if (nothing < 0) return errno;
  for (const int file : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::dup2(nothing, file);
  int fault = 0;
  int spare[kFilesOfLook];
  int count = 0;
  while (fault == 0 && count < kFilesOfLook) {
    spare[count] = ::fcntl(nothing, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    fault = spare[count] < 0 ? errno : 0;
    count += fault == 0 ? 1 : 0;
  }
  while (count > 0) ::close(spare[--count]);
  if (nothing > STDERR_FILENO) ::close(nothing);
  return fault;
}

// Libraries of drivers and servers print what they like. Nothing of this process's own is ended here: its
// buffers and its exit handlers belong to the parent.
[[noreturn]] void RunChild(const int (&iEnds)[2], pid_t iParent,
                           const std::function<std::vector<std::string>()>& iLook) {
#if defined(__linux__)
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
  if (::getppid() != iParent) ::_exit(1);
  ::close(iEnds[0]);
  // Where a standard stream was closed the pipe may have its number.
  const int answer =
      iEnds[1] > STDERR_FILENO ? iEnds[1] : ::fcntl(iEnds[1], F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (answer < 0) EndChild(iEnds[1], {}, errno);
  if (const int fault = Settle()) EndChild(answer, {}, fault);
  try {
    EndChild(answer, Packed(iLook()), 0);
  } catch (const std::bad_alloc&) {
    EndChild(answer, {}, ENOMEM);
  } catch (const std::system_error& error) {
    if (IsOfLimit(error.code().value())) EndChild(answer, {}, error.code().value());
  } catch (...) {
  }
  ::_exit(1);
}

// ---- the parent ----

enum class Reading { kEnded, kTooLong };

Reading ReadAnswer(int iAnswer, Clock::time_point iEnd, std::string& oBytes) {
  char piece[4096];
  while (oBytes.size() < kMostBytes) {
    const auto left = std::chrono::duration_cast<milliseconds>(iEnd - Clock::now()).count();
    pollfd poll{iAnswer, POLLIN, 0};
    const int ready = left > 0 ? ::poll(&poll, 1, static_cast<int>(left)) : 0;
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return Reading::kTooLong;
    const ssize_t count = ::read(iAnswer, piece, sizeof(piece));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return Reading::kEnded;
    oBytes.append(piece, static_cast<std::size_t>(count));
  }
  return Reading::kTooLong;
}

// Whether it ended by itself and in order.
bool WaitFor(pid_t iChild, Clock::time_point iEnd) {
  for (;;) {
    int status = 0;
    const pid_t ended = ::waitpid(iChild, &status, WNOHANG);
    if (ended == iChild) return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if ((ended < 0 && errno != EINTR) || Clock::now() >= iEnd) return false;
    std::this_thread::sleep_for(milliseconds(1));
  }
}

}  // namespace

LookOutcome LookInChild(milliseconds iPatience, const std::function<std::vector<std::string>()>& iLook,
                        std::vector<std::string>& oFields) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return {LookEnd::kNotHad, errno};
  const pid_t parent = ::getpid();
  const auto end = Clock::now() + iPatience;
  const pid_t child = ::fork();
  if (child == 0) RunChild(ends, parent, iLook);
  const int fault = child < 0 ? errno : 0;
  ::close(ends[1]);
  std::string bytes;
  const Reading reading = child > 0 ? ReadAnswer(ends[0], end, bytes) : Reading::kEnded;
  ::close(ends[0]);
  if (child < 0) return {LookEnd::kNotHad, fault};
  if (reading == Reading::kTooLong) {
    ::kill(child, SIGKILL);
    WaitFor(child, Clock::now() + kDying);
    return LookEnd::kTooLong;
  }
  const bool hasEndedWell = WaitFor(child, std::max(end, Clock::now() + kDying));
  if (!hasEndedWell) ::kill(child, SIGKILL);
  AnswerEnd answerEnd;
  if (!hasEndedWell || !TakeEnd(bytes, answerEnd)) return LookEnd::kDied;
  if (answerEnd.mFault != 0) return {LookEnd::kNotHad, answerEnd.mFault};
  return Unpack(bytes, oFields) ? LookEnd::kDone : LookEnd::kDied;
}

}  // namespace tool
