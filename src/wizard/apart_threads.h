// Threads that read for a window which may go before they end.
//
//  1. Each owns what it uses; nobody waits for it while the program goes on.
//  2. The application owns them, and its end waits for a second in all, so that none meets the end of the libraries that it
//     needs. One that a driver keeps for longer is left to itself; a program that wants to be sure of that one, too, ends
//     by std::_Exit behind its application, as the sample host does.
#pragma once

#include <QObject>
#include <chrono>
#include <future>
#include <thread>
#include <utility>
#include <vector>

namespace kestrel {

class ApartThreads final : public QObject {
  Q_OBJECT
 public:
  static constexpr std::chrono::seconds kLongestEnd{1};

  explicit ApartThreads(QObject* parent) : QObject(parent) {}
  ~ApartThreads() override;

  // Runs `work`, which raises nothing and may be one that is only moved, in a thread of the application's. Called by the
  // application's thread.
  template <class Work>
  static void Start(Work work) {
    OfApplication().Run(std::packaged_task<void()>([work = std::move(work)]() mutable { work(); }));
  }

  // Use Start.
  void Run(std::packaged_task<void()> work);

 private:
  struct Kept {
    std::thread thread;
    std::future<void> end;
  };

  static ApartThreads& OfApplication();

  std::vector<Kept> kept_;
};

}  // namespace kestrel
