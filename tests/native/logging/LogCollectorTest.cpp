#include "logging/LogCollector.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "logging/IConcurrentLock.h"
#include "support/LogDrain.h"

namespace cvx {
namespace {

using test::drain;

TEST(LogCollector, KeepsTheFirstThousandAndRefillsAfterADrain) {
  LogCollector collector;
  for (int i = 0; i < 1001; ++i) collector.logLevel2("line " + std::to_string(i));
  std::vector<LogStatement> first = drain(collector);
  ASSERT_EQ(first.size(), 1000u);
  EXPECT_EQ(first.front().statement, "line 0");
  EXPECT_EQ(first.back().statement, "line 999");

  for (int i = 0; i < 1000; ++i) collector.logLevel3(2, 7, "again");
  EXPECT_EQ(drain(collector).size(), 1000u);
  EXPECT_TRUE(drain(collector).empty());
}

TEST(LogCollector, ProcessStatementsComeFirstStampedAsProcessWide) {
  LogCollector process;
  LogCollector session;
  session.logLevel2(0, 0, "session");
  process.logLevel3(2, 5, "process");
  std::vector<LogStatement> out;
  drainLogStatements(process, session, out);
  ASSERT_EQ(out.size(), 2u);
  EXPECT_EQ(out[0].statement, "process");
  EXPECT_EQ(out[0].contextType, -1);
  EXPECT_EQ(out[0].contextIndex, 0);
  EXPECT_EQ(out[0].level, 3);
  EXPECT_EQ(out[1].statement, "session");
  EXPECT_EQ(out[1].contextType, 0);
}

TEST(LogCollector, LosesNothingBelowTheBoundWhileAnotherThreadDrains) {
  LogCollector collector;
  constexpr int kWriters = 4;
  constexpr int kPerWriter = 200;
  std::atomic<bool> done{false};
  std::vector<LogStatement> received;
  std::thread drainer([&] {
    while (!done.load()) collector.getLogStatements(received);
    collector.getLogStatements(received);
  });
  std::vector<std::thread> writers;
  for (int w = 0; w < kWriters; ++w) {
    writers.emplace_back([&collector, w] {
      for (int i = 0; i < kPerWriter; ++i) collector.logLevel2(2, w, "w");
    });
  }
  for (std::thread& t : writers) t.join();
  done = true;
  drainer.join();
  EXPECT_EQ(received.size(), static_cast<std::size_t>(kWriters * kPerWriter));
}

TEST(ConcurrentLock, IsRecursive) {
  std::unique_ptr<IConcurrentLock> lock = createConcurrentLock();
  ASSERT_NE(lock, nullptr);
  lock->lock();
  lock->lock();
  std::atomic<bool> acquired{false};
  std::thread other([&] {
    lock->lock();
    acquired = true;
    lock->unlock();
  });
  lock->unlock();
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_FALSE(acquired.load()) << "one unlock of two must not release the lock";
  lock->unlock();
  other.join();
  EXPECT_TRUE(acquired.load());
}

}  // namespace
}  // namespace cvx
