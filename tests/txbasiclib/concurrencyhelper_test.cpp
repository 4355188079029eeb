#include "txbasiclib/concurrencyhelper.h"

#include <dirent.h>
#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "support/testoperators.h"

using namespace testsupport;
using Tamrin::TesseraBasic::ConcurrencyHelper;

namespace {

/// Calls `work` for each pull and answers with what it gives.
class Worker : public AddOne {
 public:
  void Apply(const boost::shared_ptr<tx::Port>& port, const boost::shared_ptr<tx::DataRequest>& request) override {
    const auto index = tx::AsDataOf<tx::DoubleData>(request->GetAttribute(L"Index"))->GetDataValue();
    port->SetData(NumberData(work(static_cast<int>(index))), request);
  }
  boost::function<double(int)> work;
};

struct Job {
  boost::shared_ptr<tx::Model> model = MakeOperator<tx::Model>();
  boost::shared_ptr<Worker> worker = AddTo<Worker>(*model);
  std::vector<double> answers;
  int asked = 0;

  void Run(int count) {
    ConcurrencyHelper helper;
    answers.assign(count, -1);
    helper.SetDataPort(worker->GetPort(L"Out"));
    helper.SetDataRequestCallback(
        [this, count](boost::shared_ptr<tx::DataRequest>& request, ConcurrencyHelper::Completion& completion) {
          if (asked == count) return false;
          const int index = asked++;
          request->SetAttribute(L"Index", NumberData(index));
          completion = [this, index](const boost::shared_ptr<tx::Data>& data) {
            answers[index] = tx::AsDataOf<tx::DoubleData>(data)->GetDataValue();
          };
          return true;
        });
    helper.RunGlobalProcess(false);
  }
};

TEST(Concurrency, EveryRequestIsAnsweredWhateverTheThreads) {
  for (const unsigned threads : {0U, 1U, 2U, 5U}) {
    SCOPED_TRACE(threads);
    Job job;
    job.model->GetEnvironment()->SetNumThreads(threads);
    job.worker->work = [](int index) { return 2.0 * index; };
    job.Run(200);
    for (int i = 0; i < 200; ++i) EXPECT_EQ(job.answers[i], 2.0 * i);
  }
}

TEST(Concurrency, NoWorkAtAllEnds) {
  Job job;
  job.Run(0);
  EXPECT_EQ(job.asked, 0);
}

TEST(Concurrency, PullsRunAtTheSameTime) {
  Job job;
  job.model->GetEnvironment()->SetNumThreads(2);
  std::atomic<int> inside{0}, most{0};
  job.worker->work = [&](int) {
    const int now = ++inside;
    int known = most;
    while (known < now && !most.compare_exchange_weak(known, now)) {
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    --inside;
    return 0.0;
  };
  job.Run(40);
  EXPECT_EQ(most, 2);
}

TEST(Concurrency, TheFirstFailureEndsTheAsking) {
  Job job;
  job.model->GetEnvironment()->SetNumThreads(2);
  job.worker->work = [](int index) -> double {
    if (index == 3) throw std::out_of_range("third");
    return index;
  };
  try {
    job.Run(100000);
    FAIL() << "nothing was raised";
  } catch (const std::out_of_range& problem) {
    EXPECT_STREQ(problem.what(), "third");
  }
  EXPECT_LT(job.asked, 100000);
}

TEST(Concurrency, CancellingEndsTheAsking) {
  Job job;
  job.model->GetEnvironment()->SetNumThreads(2);
  job.worker->work = [&](int index) {
    if (index == 5) job.model->GetEnvironment()->Cancel();
    return 0.0;
  };
  EXPECT_THROW(job.Run(100000), tx::CancelledException);
  EXPECT_LT(job.asked, 100000);
}

TEST(Concurrency, HelpersNestWithoutMoreThreads) {
  Job outer;
  outer.model->GetEnvironment()->SetNumThreads(2);
  std::mutex mutex;
  std::set<std::thread::id> threads;
  outer.worker->work = [&](int) {
    Job inner;
    inner.model->GetEnvironment()->SetNumThreads(2);
    inner.worker->work = [&](int index) {
      const std::lock_guard lock(mutex);
      threads.insert(std::this_thread::get_id());
      return index;
    };
    inner.Run(20);
    double sum = 0;
    for (const double answer : inner.answers) sum += answer;
    return sum;
  };
  outer.Run(20);
  for (const double sum : outer.answers) EXPECT_EQ(sum, 190);
  EXPECT_LE(threads.size(), 2U);
}

int ThreadsOfThisProcess() {
  DIR* const folder = ::opendir("/proc/self/task");
  int count = -2;  // "." and ".."
  while (::readdir(folder)) ++count;
  ::closedir(folder);
  return count;
}

TEST(Concurrency, ManyRunsOneAfterTheOtherKeepToTheirThreads) {
  const auto run = [] {
    Job job;
    job.model->GetEnvironment()->SetNumThreads(3);
    job.worker->work = [](int index) { return index; };
    job.Run(20);
  };
  run();
  const int threads = ThreadsOfThisProcess();
  for (int i = 0; i < 500; ++i) run();
  EXPECT_LE(ThreadsOfThisProcess(), threads + 2);
}

TEST(Concurrency, PartsCoverAllOnce) {
  for (const unsigned threads : {0U, 1U, 2U, 7U}) {
    for (const std::int64_t count : {std::int64_t{0}, std::int64_t{1}, std::int64_t{99}, std::int64_t{1000}}) {
      Job job;
      job.model->GetEnvironment()->SetNumThreads(threads);
      std::vector<int> seen(static_cast<std::size_t>(count));
      Tamrin::TesseraBasic::ForParts(*job.worker, count, 10, [&](std::int64_t begin, std::int64_t end) {
        for (std::int64_t i = begin; i < end; ++i) ++seen[static_cast<std::size_t>(i)];
      });
      EXPECT_EQ(seen, std::vector<int>(static_cast<std::size_t>(count), 1));
    }
  }
}

TEST(Concurrency, PartsStayOnOneThreadWhereThatIsAsked) {
  Job job;
  job.model->GetEnvironment()->SetNumThreads(0);
  int calls = 0;
  Tamrin::TesseraBasic::ForParts(*job.worker, 1000, 10, [&](std::int64_t begin, std::int64_t end) {
    EXPECT_EQ(begin, 0);
    EXPECT_EQ(end, 1000);
    ++calls;
  });
  EXPECT_EQ(calls, 1);
  // Nor do they make threads where those of a helper are at work.
  Job busy;
  busy.model->GetEnvironment()->SetNumThreads(2);
  busy.worker->work = [&busy](int index) {
    int parts = 0;
    Tamrin::TesseraBasic::ForParts(*busy.worker, 1000, 10, [&](std::int64_t, std::int64_t) { ++parts; });
    EXPECT_EQ(parts, 1);
    return index;
  };
  busy.Run(20);
}

TEST(Concurrency, AFailureOfAPartIsRaised) {
  for (const unsigned threads : {0U, 2U}) {
    Job job;
    job.model->GetEnvironment()->SetNumThreads(threads);
    EXPECT_THROW(Tamrin::TesseraBasic::ForParts(*job.worker, 1000, 10,
                                                [](std::int64_t, std::int64_t end) {
                                                  if (end > 500) throw std::out_of_range("a part");
                                                }),
                 std::out_of_range);
  }
}

}  // namespace
