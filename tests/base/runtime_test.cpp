// The guard, the log, locks, events and threads.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "base/event.h"
#include "base/exception.h"
#include "base/guard.h"
#include "base/lock.h"
#include "base/log.h"
#include "base/thread.h"

namespace {

namespace fs = std::filesystem;

std::vector<std::string> ReadLines(const fs::path& path) {
  std::ifstream in(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

bool EndsWith(const std::string& s, const std::string& tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

// Points the log at a fresh file of its own and records what the guards report.
class Reports : public ::testing::Test {
protected:
  struct Report {
    std::string name, text;
    bool system;
  };

  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    logPath_ = fs::temp_directory_path() / "quillon-runtime-test" / (std::string(info->name()) + ".log");
    fs::remove(logPath_);
    RLog::SetPath(logPath_.string());
    std::lock_guard<std::mutex> hold(reportsLock_);
    reports_.clear();
    previous_ = RSetGuardObserver(&Observe);
  }
  void TearDown() override {
    RSetGuardObserver(previous_);
    RLog::SetPath("");
    fs::remove(logPath_);
  }

  static void Observe(const char* name, const RString& text, bool system) {
    std::lock_guard<std::mutex> hold(reportsLock_);
    reports_.push_back({name, text.ToUTF8(), system});
  }
  static std::vector<Report> TakeReports() {
    std::lock_guard<std::mutex> hold(reportsLock_);
    return reports_;
  }

  fs::path logPath_;
  RGuardObserver previous_ = nullptr;
  static inline std::mutex reportsLock_;
  static inline std::vector<Report> reports_;
};

// ---------------------------------------------------------------------------------------------
// The guard

using RGuardTest = Reports;

TEST_F(RGuardTest, ABodyThatReturnsIsReportedNowhere) {
  int runs = 0;
  EXPECT_TRUE(RGuarded("RTest::Quiet", [&] { ++runs; }));
  EXPECT_EQ(RGuardedValue("RTest::Value", -1, [] { return 42; }), 42);
  EXPECT_EQ(runs, 1);
  EXPECT_TRUE(TakeReports().empty());
  EXPECT_TRUE(ReadLines(logPath_).empty());
}

TEST_F(RGuardTest, AnRExceptionGivesTheFailureValueAndItsMessageReachesTheLog) {
  EXPECT_FALSE(RGuarded("RTest::Fails", [] { throw RException("Could not acquire lock."); }));
  EXPECT_EQ(RGuardedValue("RTest::FailsWithValue", int32_t(-1), []() -> int32_t { throw RException("bad"); }), -1);

  const auto reports = TakeReports();
  ASSERT_EQ(reports.size(), 2u);
  EXPECT_EQ(reports[0].name, "RTest::Fails");
  EXPECT_FALSE(reports[0].system);
  EXPECT_NE(reports[0].text.find("Could not acquire lock."), std::string::npos) << reports[0].text;
  const auto lines = ReadLines(logPath_);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_TRUE(EndsWith(lines[0], "RTest::Fails: Could not acquire lock.")) << lines[0];
}

TEST_F(RGuardTest, ATitleIsKeptInTheReport) {
  RGuarded("RTest::Titled", [] { throw RException("Preset", "Could not load.", 3); });
  const auto reports = TakeReports();
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_EQ(reports[0].text, "RTest::Titled: Preset: Could not load.");
}

TEST_F(RGuardTest, AnythingElseIsASystemExceptionNamedByTheQualifiedName) {
  EXPECT_FALSE(RGuarded("RAudioPlugin::ProcessPitchBend", [] { throw std::runtime_error("lost"); }));
  EXPECT_EQ(RGuardedValue("RThreadProc", -1, []() -> int { throw 7; }), -1);

  const auto reports = TakeReports();
  ASSERT_EQ(reports.size(), 2u);
  EXPECT_TRUE(reports[0].system);
  // The name is the only trace kept: the foreign exception's own text is not.
  EXPECT_EQ(reports[0].text, "SYSTEM EXCEPTION! RAudioPlugin::ProcessPitchBend");
  EXPECT_EQ(reports[1].text, "SYSTEM EXCEPTION! RThreadProc");
  const auto lines = ReadLines(logPath_);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_TRUE(EndsWith(lines[1], "SYSTEM EXCEPTION! RThreadProc")) << lines[1];
}

TEST_F(RGuardTest, AThrowingObserverDoesNotBreakTheGuard) {
  RSetGuardObserver([](const char*, const RString&, bool) { throw 1; });
  EXPECT_FALSE(RGuarded("RTest::Observed", [] { throw RException("x"); }));
  RSetGuardObserver(&Observe);
  EXPECT_EQ(ReadLines(logPath_).size(), 1u);
}

// ---------------------------------------------------------------------------------------------
// The log

using RLogTest = Reports;

TEST_F(RLogTest, EachLineIsATimeStampAndTheText) {
  RLog::Write("first");
  RLog::Write(RString::FromUTF8("zweite Zeile \xC3\xA4"));
  const auto lines = ReadLines(logPath_);
  ASSERT_EQ(lines.size(), 2u);
  const std::regex stamped(R"(\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\.\d{3} (.*))");
  std::smatch m;
  ASSERT_TRUE(std::regex_match(lines[0], m, stamped)) << lines[0];
  EXPECT_EQ(m[1], "first");
  ASSERT_TRUE(std::regex_match(lines[1], m, stamped)) << lines[1];
  EXPECT_EQ(m[1], "zweite Zeile \xC3\xA4");
}

TEST_F(RLogTest, AMissingFolderIsCreatedAndLinesAreAppended) {
  const fs::path nested = logPath_.parent_path() / "nested" / "deeper" / "Quillon.log";
  fs::remove_all(logPath_.parent_path() / "nested");
  {
    std::ofstream earlier(logPath_);
    earlier << "an earlier session\n";
  }
  RLog::Write("appended");
  RLog::SetPath(nested.string());
  RLog::Write("in a new folder");
  EXPECT_EQ(ReadLines(logPath_).size(), 2u);
  ASSERT_EQ(ReadLines(nested).size(), 1u);
  fs::remove_all(logPath_.parent_path() / "nested");
}

TEST_F(RLogTest, TheDefaultFileLivesInTheDataFolder) {
  const char* old = std::getenv("XDG_DATA_HOME");
  const std::string saved = old ? old : "";
  const fs::path data = logPath_.parent_path() / "data-home";
  setenv("XDG_DATA_HOME", data.c_str(), 1);
  RLog::SetPath("");
  EXPECT_EQ(RLog::GetPath(), (data / "VarnholtStudios" / "Quillon.log").string());
  if (old) setenv("XDG_DATA_HOME", saved.c_str(), 1);
  else unsetenv("XDG_DATA_HOME");
}

TEST_F(RLogTest, LinesGoToStandardErrorOnlyWhenAsked) {
  const bool was = RLog::EchoesToStandardError();
  RLog::SetEchoToStandardError(false);
  ::testing::internal::CaptureStderr();
  RLog::Write("quiet line");
  EXPECT_EQ(::testing::internal::GetCapturedStderr().find("quiet line"), std::string::npos);
  RLog::SetEchoToStandardError(true);
  ::testing::internal::CaptureStderr();
  RLog::Write("loud line");
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("loud line"), std::string::npos);
  RLog::SetEchoToStandardError(was);
}

TEST_F(RLogTest, LinesOfConcurrentWritersStayWhole) {
  constexpr int kThreads = 4;
  constexpr int kLines = 100;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      const std::string text = "writer " + std::to_string(t) + " " + std::string(200, char('a' + t));
      for (int i = 0; i < kLines; ++i) RLog::Write(text.c_str());
    });
  }
  for (std::thread& th : threads) th.join();
  const auto lines = ReadLines(logPath_);
  ASSERT_EQ(lines.size(), size_t(kThreads * kLines));
  for (const std::string& line : lines) {
    const size_t at = line.find("writer ");
    ASSERT_NE(at, std::string::npos) << line;
    const int t = line[at + 7] - '0';
    EXPECT_TRUE(EndsWith(line, std::string(200, char('a' + t)))) << line;
  }
}

// ---------------------------------------------------------------------------------------------
// Locks

// Holds a lock on another thread until told to let go.
class Holder {
public:
  explicit Holder(RLock& lock) : thread_([this, &lock] {
      lock.Lock();
      held_ = true;
      while (!release_) std::this_thread::sleep_for(std::chrono::milliseconds(1));
      lock.Unlock();
      held_ = false;
    }) {
    while (!held_) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  void Release() {
    release_ = true;
    if (thread_.joinable()) thread_.join();
  }
  ~Holder() { Release(); }

private:
  std::atomic<bool> held_{false}, release_{false};
  std::thread thread_;
};

bool TryFromAnotherThread(RLock& lock) {
  bool got = false;
  std::thread([&] {
    got = lock.TryLock();
    if (got) lock.Unlock();
  }).join();
  return got;
}

TEST(RLock, TheNoWaitFormIsRefusedWhileAnotherThreadHoldsTheLock) {
  RLock lock;
  Holder holder(lock);
  EXPECT_FALSE(lock.TryLock());
  RTryLockGuard attempt(lock);
  EXPECT_FALSE(attempt.Owns());
  holder.Release();
  EXPECT_TRUE(lock.TryLock());
  lock.Unlock();
}

TEST(RLock, TheHolderMayTakeItAgainAndMustReleaseAsOften) {
  RLock lock;
  ASSERT_TRUE(lock.Lock());
  ASSERT_TRUE(lock.TryLock());
  lock.Unlock();
  EXPECT_FALSE(TryFromAnotherThread(lock)) << "released once, still held once";
  lock.Unlock();
  EXPECT_TRUE(TryFromAnotherThread(lock));
}

TEST(RLock, ABoundedWaitThatRunsOutRefuses) {
  RLock lock;
  Holder holder(lock);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(lock.Lock(RLock::kExclusive, 30));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(25));
}

TEST(RLock, ABoundedWaitGetsTheLockWhenTheHolderLetsGoInTime) {
  RLock lock;
  auto holder = std::make_unique<Holder>(lock);
  std::thread releaser([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    holder->Release();
  });
  EXPECT_TRUE(lock.Lock(RLock::kExclusive, 5000));
  lock.Unlock();
  releaser.join();
}

TEST(RLockGuard, ReleasesAtTheEndOfItsScope) {
  RLock lock;
  {
    RLockGuard hold(lock);
    EXPECT_FALSE(TryFromAnotherThread(lock));
  }
  EXPECT_TRUE(TryFromAnotherThread(lock));
  {
    RLockGuard hold(lock);
    hold.Release();
    EXPECT_TRUE(TryFromAnotherThread(lock));
  }
  EXPECT_TRUE(TryFromAnotherThread(lock)) << "an early release must not be repeated";
}

TEST(RLockGuard, ThrowsWhenTheLockIsRefusedWithinItsWait) {
  RLock lock;
  Holder holder(lock);
  try {
    RLockGuard hold(lock, RLock::kExclusive, 10);
    FAIL() << "the guard got a lock another thread holds";
  } catch (const RException& e) {
    EXPECT_EQ(e.GetMessage().ToUTF8(), "Could not acquire lock.");
    EXPECT_EQ(e.GetCode(), 0);
  }
  holder.Release();
  // The failed guard must not have unlocked what it never held: the lock is free now, once.
  EXPECT_TRUE(TryFromAnotherThread(lock));
}

// A derived lock sees the mode it was taken in when it is released.
class RModeRecordingLock : public RLock {
public:
  bool Lock(Mode mode, int32_t wait) noexcept override {
    locked.push_back(mode);
    return RLock::Lock(mode, wait);
  }
  void Unlock(Mode mode) noexcept override {
    unlocked.push_back(mode);
    RLock::Unlock(mode);
  }
  std::vector<int> locked, unlocked;
};

TEST(RLockGuard, GoesThroughTheVirtualLockWithItsMode) {
  RModeRecordingLock lock;
  const auto shared = RLock::Mode(1);
  { RLockGuard hold(lock, shared); }
  { RTryLockGuard attempt(lock, shared); }
  EXPECT_EQ(lock.locked, (std::vector<int>{1, 1}));
  EXPECT_EQ(lock.unlocked, (std::vector<int>{1, 1}));
}

// ---------------------------------------------------------------------------------------------
// Events

struct Call {
  void* receiver;
  void* cookie;
  int32_t identifier;
  int value;
};

std::vector<Call>& Calls() {
  static std::vector<Call> calls;
  return calls;
}
std::mutex gCallsLock;

void Record(void* receiver, void* cookie, int32_t identifier, const REvent::Payload& payload) {
  std::lock_guard<std::mutex> hold(gCallsLock);
  Calls().push_back({receiver, cookie, identifier, payload.As<int>()});
}
void Throw(void*, void*, int32_t, const REvent::Payload&) { throw RException("subscriber failed"); }
void ThrowForeign(void*, void*, int32_t, const REvent::Payload&) { throw std::logic_error("foreign"); }

using REventTest = Reports;

TEST_F(REventTest, SubscribersHearAPayloadInListOrderWithTheirOwnRecords) {
  Calls().clear();
  REvent event;
  int a = 0, b = 0, cookie = 0;
  event.Subscribe(&a, &cookie, 7, &Record);
  event.Subscribe(&b, nullptr, 8, &Record);
  EXPECT_TRUE(event.ExecuteImmediately(REvent::Payload::Of(99)));
  ASSERT_EQ(Calls().size(), 2u);
  EXPECT_EQ(Calls()[0].receiver, &a);
  EXPECT_EQ(Calls()[0].cookie, &cookie);
  EXPECT_EQ(Calls()[0].identifier, 7);
  EXPECT_EQ(Calls()[0].value, 99);
  EXPECT_EQ(Calls()[1].receiver, &b);
  EXPECT_EQ(Calls()[1].identifier, 8);
}

TEST_F(REventTest, AThrowingSubscriberDoesNotStopTheNext) {
  Calls().clear();
  REvent event;
  int a = 0, b = 0;
  event.Subscribe(&a, nullptr, 1, &Throw);
  event.Subscribe(&a, nullptr, 2, &ThrowForeign);
  event.Subscribe(&b, nullptr, 3, &Record);
  EXPECT_FALSE(event.ExecuteImmediately(REvent::Payload::Of(5)));
  ASSERT_EQ(Calls().size(), 1u);
  EXPECT_EQ(Calls()[0].value, 5);

  event.Post(REvent::Payload::Of(6));
  EXPECT_TRUE(event.ExecutePendingEvent());
  ASSERT_EQ(Calls().size(), 2u);
  EXPECT_EQ(Calls()[1].value, 6);

  const auto reports = TakeReports();
  ASSERT_EQ(reports.size(), 4u);
  EXPECT_EQ(reports[0].name, "REvent::ExecuteImmediately");
  EXPECT_EQ(reports[1].text, "SYSTEM EXCEPTION! REvent::ExecuteImmediately");
  EXPECT_EQ(reports[2].name, "REvent::ExecutePendingEvent");
}

TEST_F(REventTest, PostedPayloadsComeOutOneAtATimeInOrder) {
  Calls().clear();
  REvent event;
  int r = 0;
  event.Subscribe(&r, nullptr, 0, &Record);
  EXPECT_FALSE(event.ExecutePendingEvent()) << "nothing posted yet";
  // Interleaving drains with posts wraps the queue's ring and grows it while it is wrapped.
  int next = 0, expected = 0;
  for (int i = 0; i < 10; ++i) event.Post(REvent::Payload::Of(next++));
  for (int i = 0; i < 6; ++i) ASSERT_TRUE(event.ExecutePendingEvent());
  for (int i = 0; i < 40; ++i) event.Post(REvent::Payload::Of(next++));
  EXPECT_EQ(event.PendingCount(), 44);
  while (event.ExecutePendingEvent()) {}
  ASSERT_EQ(Calls().size(), size_t(next));
  for (const Call& c : Calls()) EXPECT_EQ(c.value, expected++);
  EXPECT_EQ(event.PendingCount(), 0);
}

TEST_F(REventTest, PostsFromSeveralThreadsAllArriveInEachThreadsOrder) {
  Calls().clear();
  REvent event;
  int r = 0;
  event.Subscribe(&r, nullptr, 0, &Record);
  constexpr int kThreads = 3, kPosts = 300;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&event, t] {
      for (int i = 0; i < kPosts; ++i) event.Post(REvent::Payload::Of(t * 1000 + i));
    });
  }
  // Drain while they post, as the editor's timer would.
  int drained = 0;
  while (drained < kThreads * kPosts) drained += event.ExecutePendingEvent() ? 1 : 0;
  for (std::thread& th : threads) th.join();
  std::vector<int> last(kThreads, -1);
  for (const Call& c : Calls()) {
    const int t = c.value / 1000, i = c.value % 1000;
    EXPECT_EQ(i, last[size_t(t)] + 1) << "thread " << t;
    last[size_t(t)] = i;
  }
  EXPECT_EQ(last, std::vector<int>(kThreads, kPosts - 1));
}

TEST_F(REventTest, TryPostNeverGrowsTheQueue) {
  REvent event;
  EXPECT_FALSE(event.TryPost(REvent::Payload::Of(1))) << "no room reserved";
  event.Reserve(2);
  EXPECT_TRUE(event.TryPost(REvent::Payload::Of(1)));
  EXPECT_TRUE(event.TryPost(REvent::Payload::Of(2)));
  EXPECT_FALSE(event.TryPost(REvent::Payload::Of(3)));
  EXPECT_TRUE(event.ExecutePendingEvent());
  EXPECT_TRUE(event.TryPost(REvent::Payload::Of(3))) << "a drained place is room again";
  EXPECT_EQ(event.PendingCount(), 2);
}

struct SelfRemover {
  REvent* event;
  int calls = 0;
  static void OnEvent(void* receiver, void*, int32_t, const REvent::Payload&) {
    auto* self = static_cast<SelfRemover*>(receiver);
    ++self->calls;
    self->event->Unsubscribe(self);
  }
};

TEST_F(REventTest, ASubscriberMayUnsubscribeItselfWhileBeingCalled) {
  Calls().clear();
  REvent event;
  SelfRemover remover{&event};
  int r = 0;
  event.Subscribe(&remover, nullptr, 0, &SelfRemover::OnEvent);
  event.Subscribe(&r, nullptr, 0, &Record);
  EXPECT_TRUE(event.ExecuteImmediately(REvent::Payload::Of(1)));
  EXPECT_TRUE(event.ExecuteImmediately(REvent::Payload::Of(2)));
  EXPECT_EQ(remover.calls, 1);
  ASSERT_EQ(Calls().size(), 2u);
  EXPECT_EQ(event.SubscriberCount(), 1);
}

TEST_F(REventTest, UnsubscribeRemovesOnlyWhatItNames) {
  Calls().clear();
  REvent event;
  int a = 0, b = 0;
  event.Subscribe(&a, nullptr, 1, &Record);
  event.Subscribe(&a, nullptr, 2, &Throw);
  event.Subscribe(&b, nullptr, 3, &Record);
  EXPECT_EQ(event.Unsubscribe(&a, &Throw), 1);
  EXPECT_TRUE(event.ExecuteImmediately());
  EXPECT_EQ(Calls().size(), 2u);
  EXPECT_EQ(event.Unsubscribe(&a), 1);
  EXPECT_EQ(event.Unsubscribe(&a), 0);
  EXPECT_EQ(event.SubscriberCount(), 1);
}

// ---------------------------------------------------------------------------------------------
// Threads

struct Work {
  std::atomic<int> runs{0};
  std::thread::id ranOn;
  RThread* seen = nullptr;
  static void Run(void* receiver, void*, int32_t, const REvent::Payload& payload) {
    auto* w = static_cast<Work*>(receiver);
    w->ranOn = std::this_thread::get_id();
    w->seen = payload.As<RThread*>();
    ++w->runs;
  }
};

using RThreadTest = Reports;

TEST_F(RThreadTest, RunsItsBodyOnAThreadOfItsOwn) {
  RThread thread;
  Work work;
  thread.Body().Subscribe(&work, nullptr, 0, &Work::Run);
  ASSERT_TRUE(thread.Start());
  EXPECT_EQ(thread.Join(), 0);
  EXPECT_EQ(work.runs, 1);
  EXPECT_NE(work.ranOn, std::this_thread::get_id());
  EXPECT_EQ(work.seen, &thread);
  EXPECT_EQ(thread.GetState(), RThread::kFinished);
  // A joined thread may run again.
  ASSERT_TRUE(thread.Start());
  EXPECT_EQ(thread.Join(), 0);
  EXPECT_EQ(work.runs, 2);
}

TEST_F(RThreadTest, AFailingSubscriberGivesMinusOneAndTheOthersStillRun) {
  RThread thread;
  Work work;
  thread.Body().Subscribe(nullptr, nullptr, 0, &Throw);
  thread.Body().Subscribe(&work, nullptr, 0, &Work::Run);
  ASSERT_TRUE(thread.Start());
  EXPECT_EQ(thread.Join(), -1);
  EXPECT_EQ(work.runs, 1);
  EXPECT_EQ(TakeReports().size(), 1u);
}

struct Spinner {
  std::atomic<bool> started{false};
  static void Run(void* receiver, void*, int32_t, const REvent::Payload& payload) {
    auto* s = static_cast<Spinner*>(receiver);
    s->started = true;
    RThread* thread = payload.As<RThread*>();
    while (!thread->StopRequested()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
};

TEST_F(RThreadTest, ARunCanBeAskedToStopAndCannotBeStartedTwice) {
  RThread thread;
  Spinner spinner;
  thread.Body().Subscribe(&spinner, nullptr, 0, &Spinner::Run);
  ASSERT_TRUE(thread.Start());
  while (!spinner.started) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_EQ(thread.GetState(), RThread::kRunning);
  EXPECT_FALSE(thread.Start()) << "the first run has not been joined";
  thread.RequestStop();
  EXPECT_EQ(thread.Join(), 0);
}

TEST_F(RThreadTest, DestroyingARunningThreadStopsAndJoinsIt) {
  Spinner spinner;
  {
    RThread thread;
    thread.Body().Subscribe(&spinner, nullptr, 0, &Spinner::Run);
    ASSERT_TRUE(thread.Start());
    while (!spinner.started) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  // Reaching this line at all is the test: the destructor ended the spinning body.
  EXPECT_TRUE(spinner.started);
  EXPECT_TRUE(TakeReports().empty());
}

}  // namespace
