#pragma once

#include <QString>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <thread>

namespace velmox {

// Runs jobs one after another, in the order given, on one worker thread of its own named
// by `label` (the system shortens thread names to 15 characters). The destructor runs
// what is still queued and joins the worker, so a job may use anything that outlives the
// queue. Thread-safe.
class SerialQueue {
public:
    explicit SerialQueue(QString label);
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    const QString& label() const { return label_; }

    template <typename F> auto run(F job) -> std::future<decltype(job())> {
        auto task = std::make_shared<std::packaged_task<decltype(job())()>>(std::move(job));
        auto result = task->get_future();
        post([task] { (*task)(); });
        return result;
    }
    void post(std::function<void()> job);

private:
    void work();

    const QString label_;
    std::mutex lock_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> jobs_;
    bool stopping_ = false;
    std::thread worker_;
};

} // namespace velmox
