#include <gtest/gtest.h>

#include <csignal>
#include <vector>

#include "References.h"
#include "host/HostServices.h"

namespace tessel::host {
namespace {

// The phases called, in order; prepare and start answer as given, finish
// answers finish.
struct PhaseLog {
  std::vector<SInt16> calls;
  SInt16 answer(SInt16 selector, SInt16 prepare, SInt16 start, SInt16 finish) {
    calls.push_back(selector);
    if (selector == kSelectorPrepare) return prepare;
    if (selector == kSelectorStart) return start;
    return finish;
  }
};

TEST(RunPhases, FinishFollowsOnlyASuccessfulStartAndTheFirstFailureWins) {
  struct Case {
    SInt16 prepare, start, continues, finish;
    std::vector<SInt16> calls;
    SInt16 result;
  };
  constexpr SInt16 kMarkContinues = 99;
  const std::vector<SInt16> kEvery{kSelectorPrepare, kSelectorStart, kMarkContinues,
                                   kSelectorFinish};
  const std::vector<Case> cases{
      {noErr, noErr, noErr, noErr, kEvery, noErr},
      {7, noErr, noErr, noErr, {kSelectorPrepare}, 7},
      {noErr, 8, noErr, noErr, {kSelectorPrepare, kSelectorStart}, 8},
      {noErr, noErr, 9, 3, kEvery, 9},
      {noErr, noErr, noErr, 3, kEvery, 3},
  };
  for (const Case& c : cases) {
    PhaseLog log;
    const SInt16 result = run_phases(
        [&](SInt16 selector) { return log.answer(selector, c.prepare, c.start, c.finish); },
        [&] {
          log.calls.push_back(kMarkContinues);
          return c.continues;
        });
    EXPECT_EQ(log.calls, c.calls) << c.prepare << " " << c.start << " " << c.continues;
    EXPECT_EQ(result, c.result);
  }
}

TEST(RunCallbacks, AbortTestAnswersCtrlCAndProgressIsSafeToCall) {
  RunCallbacks callbacks;
  auto testAbort = ReferenceProcAs<TestAbortProc>(callbacks.test_abort());
  auto progress = ReferenceProcAs<UpdateProgressProc>(callbacks.update_progress());
  ASSERT_NE(testAbort, nullptr);
  ASSERT_NE(progress, nullptr);
  EXPECT_EQ(testAbort(), 0);
  progress(1, 2);
  std::raise(SIGINT);
  EXPECT_EQ(testAbort(), 1);
}

TEST(RunCallbacks, ReferencesGoWithTheObject) {
  UInt32 reference = 0;
  {
    RunCallbacks callbacks;
    reference = callbacks.test_abort();
  }
  EXPECT_EQ(ReferenceProcAs<TestAbortProc>(reference), nullptr);
}

}  // namespace
}  // namespace tessel::host
