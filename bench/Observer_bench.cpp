// Observer throughput: events per second from the first EventsOccurred to the
// handler call of the last event, with one producer and with eight posting
// together. The events are Removed, so no disk check is timed: what is timed
// is the queue, the worker's wake-ups, the lowered WPath built per event and
// the virtual handler call. Batches of 100 events, built before timing.
//
// Peers: the goal of one million events per second (one producer), and a
// hand-rolled hand-off with the same queue, lock, spin count and auto-reset
// event but no path object (what the observer adds on top of a bare queue).
// Rows on stdout as in the other programs; progress on stderr.
#include "win32.h"

#include <atomic>
#include <cstdio>
#include <deque>
#include <stdexcept>
#include <string>
#include <vector>

#include "BenchClock.h"
#include "BenchMain.h"
#include "ORVCriticalSection.h"
#include "ORVEventSemaphore.h"
#include "ORVObserverCallInterface.h"
#include "ORVThread.h"

namespace {

using ORV::SmartPtr;
using ORVFile::DeviceEvent;
using Batch = std::vector<DeviceEvent>;

constexpr int kEvents = 1000000;  // per timed run, all producers together
constexpr int kBatch = 100;
constexpr int kRuns = 5;

// Each producer's batches: paths of the shape a directory source gives.
std::vector<std::vector<Batch>> MakeBatches(int producers) {
  std::vector<std::vector<Batch>> all(producers);
  const int perProducer = kEvents / producers;
  for (int p = 0; p < producers; ++p)
    for (int i = 0; i < perProducer; i += kBatch) {
      Batch batch;
      for (int j = i; j < i + kBatch && j < perProducer; ++j)
        batch.push_back({DeviceEvent::Removed,
                         L"C:\\Data\\Inbox" + std::to_wstring(p) + L"\\Report-" + std::to_wstring(j) + L".TXT"});
      all[p].push_back(std::move(batch));
    }
  return all;
}

// Counts the events it is told of and signals when the last one came.
class Counting {
 public:
  void Arrived() {
    if (++m_count == kEvents) m_done.Set();
  }
  void Reset() { m_count = 0; }
  bool WaitDone() { return m_done.Wait(60000); }

 private:
  std::atomic<int> m_count{0};
  ORV::EventSemaphore m_done{false, false};
};

class CountingObserver : public ORVFile::ObserverCallInterface {
 public:
  explicit CountingObserver(Counting& counting) : ObserverCallInterface(nullptr), m_counting(counting) {}
  void FileAdded(const ORVFile::WPath&) override {}
  void FileModified(const ORVFile::WPath&) override {}
  void DirectoryAdded(const ORVFile::WPath&) override {}
  void PathRemoved(const ORVFile::WPath&) override { m_counting.Arrived(); }

 private:
  Counting& m_counting;
};

// The peer: the observer's queue discipline without the path object.
class BareQueue {
 public:
  explicit BareQueue(Counting& counting) : m_counting(counting) {
    m_worker =
        SmartPtr<ORV::Thread>(new ORV::Thread(L"BareQueue", ORV::MakeFunction([this](void*) { return Drain(); })));
    m_worker->Run();
  }
  ~BareQueue() {
    m_stop = true;
    m_wake.Set();
    m_worker.Reset();
  }

  void EventsOccurred(const Batch& events) {
    ORV::CriticalSectionLock lock(m_lock);
    const bool mayWait = m_queue.empty();
    m_queue.insert(m_queue.end(), events.begin(), events.end());
    if (mayWait) m_wake.Set();
  }

 private:
  unsigned long Drain() {
    DeviceEvent event;
    while (!m_stop) {
      m_wake.Wait(ORV::EventSemaphore::kInfinite);
      while (!m_stop && Take(event))
        if (event.kind == DeviceEvent::Removed) m_counting.Arrived();
    }
    return 0;
  }
  bool Take(DeviceEvent& event) {
    ORV::CriticalSectionLock lock(m_lock);
    if (m_queue.empty()) return false;
    event = std::move(m_queue.front());
    m_queue.pop_front();
    return true;
  }

  Counting& m_counting;
  std::deque<DeviceEvent> m_queue;
  ORV::CriticalSection m_lock{4000};
  ORV::EventSemaphore m_wake{false, false};
  std::atomic<bool> m_stop{false};
  SmartPtr<ORV::Thread> m_worker;
};

// Events per second of one run: every producer posts its batches at once.
template <class Target>
double Run(Target& target, Counting& counting, const std::vector<std::vector<Batch>>& batches) {
  counting.Reset();
  std::vector<SmartPtr<ORV::Thread>> producers;
  for (const auto& mine : batches)
    producers.push_back(SmartPtr<ORV::Thread>(new ORV::Thread(L"producer", ORV::MakeFunction([&target, &mine](void*) {
                                                                for (const Batch& batch : mine)
                                                                  target.EventsOccurred(batch);
                                                              }))));
  const double start = Now();
  for (auto& producer : producers) producer->Run();
  if (!counting.WaitDone()) throw std::runtime_error("the events did not all arrive");
  const double seconds = Now() - start;
  producers.clear();
  return kEvents / seconds;
}

int Bench() {
  Counting counting;
  SmartPtr<CountingObserver> observer(new CountingObserver(counting));
  BareQueue bare(counting);
  for (const int producers : {1, 8}) {
    std::fprintf(stderr, "Observer_bench: %d events from %d producer(s), %d runs each\n", kEvents, producers, kRuns);
    const auto batches = MakeBatches(producers);
    std::vector<double> library, peer;
    for (int run = 0; run < kRuns; ++run) {
      library.push_back(Run(*observer, counting, batches));
      peer.push_back(Run(bare, counting, batches));
    }
    const char* figure = producers == 1 ? "ObserverCallInterface, 1 producer, Removed events"
                                        : "ObserverCallInterface, 8 producers, Removed events";
    if (producers == 1)
      std::printf("%s\t%.0f\tgoal: one million events per second\t1000000\tevents/s\t1.0\t1\n", figure,
                  Median(library));
    std::printf("%s\t%.0f\tthe same queue without path objects\t%.0f\tevents/s\t0.5\t1\n", figure, Median(library),
                Median(peer));
  }
  observer->Shutdown();
  return 0;
}

}  // namespace

int main() { return BenchMain("Observer_bench", Bench); }
