#include <algorithm>
#include <cassert>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>

extern "C" {
#include <libavdevice/avdevice.h>
#include <libavutil/avstring.h>
}

#include <ondrix/platform/ffmpeg/LiveSource.h>
#include <ondrix/platform/ffmpeg/read/SampleMaker.h>
#include <ondrix/platform/quartzcore/CACurrentMediaTime.h>

namespace ondrix::ffmpeg {

namespace {

struct LiveName {
    const AVInputFormat* device = nullptr;  ///< null when this isn't the name of a live source
    std::string name;                       ///< what the device calls it
};

LiveName parse(const std::string& name) {
    const std::size_t colon = name.find(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == name.size()) return {};
    const std::string kind = name.substr(0, colon);
    avdevice_register_all();
    const AVInputFormat* device = nullptr;
    while ((device = av_input_video_device_next(device)) != nullptr) {
        if (av_match_name(kind.c_str(), device->name) != 0) return {device, name.substr(colon + 1)};
    }
    return {};
}

/// The frames of a device. Its thread fills the queue and ends with the object.
class DeviceSource final : public LiveSource {
public:
    ~DeviceSource() override {
        cancel();
        if (thread_.joinable()) thread_.join();
    }

    /// False with the reason. Throws std::bad_alloc and std::system_error.
    [[nodiscard]] bool start(const std::string& name, MovieFrameFormat format, std::string& reason) {
        silenceLibraries();
        const LiveName live = parse(name);
        if (live.device == nullptr) {
            reason = "there is no such kind of device";
            return false;
        }
        // A camera delivers frames as they happen. "lavfi" computes its own, as fast as they are asked for.
        isPaced_ = av_match_name("lavfi", live.device->name) != 0;
        auto input = MovieInput::openDevice(*live.device, live.name, cancellation_, reason);
        if (!input) return false;
        information_ = input->information();
        maker_.emplace(*input, format, name);
        decoder_ = PictureDecoder::create(std::move(input), reason);
        if (!decoder_) return false;
        thread_ = std::thread([this] { run(); });
        return true;
    }

    [[nodiscard]] const MovieInformation& information() const override { return information_; }

    [[nodiscard]] std::shared_ptr<CMSampleBuffer> copyNextSampleBuffer() override {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return !queue_.empty() || hasStopped_ || cancellation_.isAskedFor(); });
        if (queue_.empty()) return nullptr;
        auto sample = std::move(queue_.front());
        queue_.pop_front();
        return sample;
    }

    [[nodiscard]] std::shared_ptr<CMSampleBuffer> copyNewestSampleBuffer() override {
        return os::orAbsent([this]() -> std::shared_ptr<CMSampleBuffer> {
            std::deque<std::shared_ptr<CMSampleBuffer>> taken;  // released after the lock
            const std::lock_guard lock(mutex_);
            if (queue_.empty()) return nullptr;
            taken.swap(queue_);
            droppedFrameCount_ += static_cast<std::int64_t>(taken.size()) - 1;
            return taken.back();
        });
    }

    [[nodiscard]] std::int64_t droppedFrameCount() const override {
        const std::lock_guard lock(mutex_);
        return droppedFrameCount_;
    }
    [[nodiscard]] std::optional<NSError> error() const override {
        const std::lock_guard lock(mutex_);
        return copyOf(error_);
    }
    [[nodiscard]] bool isEnded() const override {
        const std::lock_guard lock(mutex_);
        return queue_.empty() && (hasStopped_ || cancellation_.isAskedFor());
    }

    void cancel() override {
        const std::lock_guard lock(mutex_);
        cancellation_.ask();
        changed_.notify_all();
    }

private:
    void run() noexcept {
        std::string reason;
        try {
            while (!cancellation_.isAskedFor()) {
                auto picture = decoder_->next();
                if (!picture) {
                    reason = decoder_->failure();
                    break;
                }
                if (picture->duration <= 0) picture->duration = decoder_->input().meanFrameTicks();
                auto sample = maker_->make(*picture, reason);
                if (!sample) break;
                if (isPaced_) waitUntilDue(CMTimeGetSeconds(timeOf(picture->time, decoder_->timeBase())));
                push(std::move(sample));
            }
        } catch (const std::exception&) {
            reason = outOfMemory;
        }
        const std::lock_guard lock(mutex_);
        if (!reason.empty()) error_.emplace(std::move(reason));
        hasStopped_ = true;
        changed_.notify_all();
    }

    /// Waits until a frame of this time is due, counted from the first frame, or until `cancel`.
    void waitUntilDue(double seconds) {
        if (!origin_) origin_ = CACurrentMediaTime() - seconds;
        std::unique_lock lock(mutex_);
        while (!cancellation_.isAskedFor()) {
            const double left = *origin_ + seconds - CACurrentMediaTime();
            if (left <= 0) return;
            changed_.wait_for(lock, std::chrono::duration<double>(left));
        }
    }

    void push(std::shared_ptr<CMSampleBuffer> sample) {
        std::shared_ptr<CMSampleBuffer> oldest;  // released after the lock
        const std::lock_guard lock(mutex_);
        if (cancellation_.isAskedFor()) return;
        if (queue_.size() == capacity) {
            oldest = std::move(queue_.front());
            queue_.pop_front();
            ++droppedFrameCount_;
        }
        queue_.push_back(std::move(sample));
        changed_.notify_all();
    }

    Cancellation cancellation_;
    MovieInformation information_;
    std::unique_ptr<PictureDecoder> decoder_;  ///< this and the next three are the thread's alone once it runs
    std::optional<SampleMaker> maker_;
    bool isPaced_ = false;          ///< frames are held back until they are due
    std::optional<double> origin_;  ///< media time of the source's time 0
    mutable std::mutex mutex_;      ///< guards what follows
    std::condition_variable changed_;
    std::deque<std::shared_ptr<CMSampleBuffer>> queue_;
    std::int64_t droppedFrameCount_ = 0;
    bool hasStopped_ = false;
    std::optional<NSError> error_;
    std::thread thread_;
};

}  // namespace
}  // namespace ondrix::ffmpeg

namespace ondrix {

bool LiveSource::isLiveName(const std::string& name) {
    return os::orAbsent([&] { return ffmpeg::parse(name).device != nullptr; });
}

std::shared_ptr<LiveSource> LiveSource::open(const std::string& name, MovieFrameFormat format, NSError* error) {
    return ffmpeg::orReason(error, [&](std::string& reason) -> std::shared_ptr<LiveSource> {
        auto source = std::make_shared<ffmpeg::DeviceSource>();
        return source->start(name, format, reason) ? source : nullptr;
    });
}

}  // namespace ondrix
