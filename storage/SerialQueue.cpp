#include "storage/SerialQueue.h"

#include <pthread.h>

namespace velmox {

SerialQueue::SerialQueue(QString label) : label_(std::move(label)) {
    worker_ = std::thread([this] { work(); });
}

SerialQueue::~SerialQueue() {
    {
        std::lock_guard locker(lock_);
        stopping_ = true;
    }
    wake_.notify_one();
    worker_.join();
}

void SerialQueue::post(std::function<void()> job) {
    {
        std::lock_guard locker(lock_);
        jobs_.push_back(std::move(job));
    }
    wake_.notify_one();
}

void SerialQueue::work() {
    ::pthread_setname_np(::pthread_self(), label_.left(15).toUtf8().constData());
    for (;;) {
        std::function<void()> job;
        {
            std::unique_lock locker(lock_);
            wake_.wait(locker, [this] { return stopping_ || !jobs_.empty(); });
            if (jobs_.empty())
                return;
            job = std::move(jobs_.front());
            jobs_.pop_front();
        }
        job();
    }
}

} // namespace velmox
