// Runs the engine's jobs inside a C++17 program: progress as callbacks, and a stop from any thread. Linux only.
//
//     tesk_host::Job job({"-i", "song.flac", "song.dsf"});
//     const int status = job.run([](double percent) { std::fprintf(stderr, "%5.1f%%\r", percent); });
//
// Everything is in this header; it calls tesk_engine_main and loads nothing. Link the engine, or hand over the address
// that dlsym found. Use it in one binary of a process: each has a mutex and a table of its own.
#ifndef TESK_HOST_HPP
#define TESK_HOST_HPP

#ifndef __linux__
#error "tesk_host.hpp is for Linux"
#endif

#include "public/inproc_ctl.h"
#include "public/tesk_engine.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tesk_host {

/// The type of tesk_engine_main.
using EngineMain = int (*)(int argc, char** argv);

/// What a stopped job returns.
inline constexpr int kStopped = -61;

using OnProgress = std::function<void(double percent)>;
using OnText = std::function<void(std::string_view line)>;

namespace detail {

/// Owns a descriptor; -1 is none.
class Descriptor {
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor()
    {
        if (number_ >= 0) ::close(number_);
    }
    int get() const { return number_; }

private:
    int number_;
};

/// A copy of a descriptor that no child inherits, never 0 to 2: in a host that closed its standard streams those
/// numbers are free, and not ours.
inline Descriptor copyOf(int descriptor) { return Descriptor(::fcntl(descriptor, F_DUPFD_CLOEXEC, 3)); }

[[noreturn]] inline void failed(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

class Pipe {
public:
    Pipe()
    {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) failed("tesk_host: pipe");
        const Descriptor first(ends[0]), second(ends[1]);
        reading_ = copyOf(ends[0]);
        writing_ = copyOf(ends[1]);
        if (reading_.get() < 0 || writing_.get() < 0) failed("tesk_host: pipe");
    }

    int writeEnd() const { return writing_.get(); }

    /// The number of bytes, 0 at the end and on failure.
    std::size_t read(char* buffer, std::size_t size) const
    {
        ssize_t count = 0;
        do count = ::read(reading_.get(), buffer, size);
        while (count < 0 && errno == EINTR);
        return count > 0 ? static_cast<std::size_t>(count) : 0;
    }

    /// Async-signal-safe. The texts are shorter than PIPE_BUF, so they arrive whole.
    void write(std::string_view text) const noexcept
    {
        const int before = errno;
        ssize_t count = 0;
        do count = ::write(writing_.get(), text.data(), text.size());
        while (count < 0 && errno == EINTR);
        errno = before;
    }

private:
    Descriptor reading_, writing_;
};

constexpr std::string_view kEnd("\0", 1); // no line of the engine's or the host's holds a zero byte

/// What the engine's control thread reads: lines, and a zero byte where the channel closes.
class Channel {
public:
    void send(std::string_view line) const noexcept { pipe_.write(line); }

    /// As tesk_inproc_read_line says.
    std::int32_t readLine(char* buffer, std::int32_t size)
    {
        std::int32_t count = 0;
        char byte = 0;
        while (count < size && byte != '\n') {
            if (pipe_.read(&byte, 1) == 0 || byte == '\0') {
                count = 0;
                break;
            }
            buffer[count++] = byte;
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        stopDelivered_ = count > 0; // the one line that is ever sent
        ended_ = true;              // and behind it the engine asks no more
        change_.notify_all();
        return count;
    }

    void open()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopDelivered_ = ended_ = false;
    }

    /// Closes the channel and waits for the engine's thread to notice; not for ever, for a process that may have no
    /// further thread has none to wait for. True when a stop went through.
    bool close()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!ended_) send(kEnd);
        change_.wait_for(lock, std::chrono::seconds(2), [this] { return ended_; });
        return stopDelivered_;
    }

private:
    Pipe pipe_;
    std::mutex mutex_;
    std::condition_variable change_;
    bool stopDelivered_ = false;
    bool ended_ = false;
};

/// What the jobs of a process share.
struct Process {
    std::mutex running; ///< held by the job that runs; guards the two flags
    bool lateStop = false;
    bool statusLeft = false;

    std::mutex mutex; ///< guards what follows
    std::uintptr_t number = 0;
    std::shared_ptr<Channel> channel;
};

/// Never destroyed: the engine's control thread is detached and may outlive everything static.
inline Process& process()
{
    static auto* const shared = new Process;
    return *shared;
}

/// The queue is a job's number, not an address: a thread that comes late finds nothing, instead of freed memory.
inline std::int32_t readLine(void* queue, char* buffer, std::int32_t size)
{
    std::shared_ptr<Channel> channel;
    {
        const std::lock_guard<std::mutex> lock(process().mutex);
        if (reinterpret_cast<std::uintptr_t>(queue) == process().number) channel = process().channel;
    }
    return channel ? channel->readLine(buffer, size) : 0;
}

/// The channel under a number of its own while this lives, open for one call of the engine.
class Listening {
public:
    explicit Listening(std::shared_ptr<Channel> channel) : channel_(std::move(channel))
    {
        channel_->open();
        const std::lock_guard<std::mutex> lock(process().mutex);
        process().channel = channel_;
        number_ = ++process().number;
    }
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;
    ~Listening()
    {
        const std::lock_guard<std::mutex> lock(process().mutex);
        process().channel.reset();
    }

    std::vector<std::string> words() const
    {
        const tesk_inproc_read_line function = &readLine;
        return {"-inproc-host", "-inproc-ctl", std::to_string(number_), "-inproc-ctl-fn",
                std::to_string(reinterpret_cast<std::uintptr_t>(function))};
    }

private:
    std::shared_ptr<Channel> channel_;
    std::uintptr_t number_ = 0;
};

/// A standard stream leads into a pipe while this lives.
class Capture {
public:
    explicit Capture(std::FILE* stream) : stream_(stream), number_(::fileno(stream)), before_(copyOf(number_))
    {
        std::fflush(stream_); // what the host printed stays the host's
        if (::dup2(pipe_.writeEnd(), number_) < 0) failed("tesk_host: standard stream");
    }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;
    ~Capture() { restore(); }

    const Pipe& pipe() const { return pipe_; }

    void restore()
    {
        if (std::exchange(restored_, true)) return;
        std::fflush(stream_);
        if (before_.get() < 0)
            ::close(number_); // it was closed before
        else
            ::dup2(before_.get(), number_);
    }

private:
    Pipe pipe_;
    std::FILE* stream_;
    int number_;
    Descriptor before_;
    bool restored_ = false;
};

/// "[PROGRESS] 12.3%". By from_chars, because the host's locale may have a decimal comma.
inline bool parseProgress(std::string_view line, double& percent)
{
    constexpr std::string_view label = "[PROGRESS] ";
    if (line.substr(0, label.size()) != label) return false;
    const char* const end = line.data() + line.size();
    const auto number = std::from_chars(line.data() + label.size(), end, percent);
    return number.ec == std::errc() && end - number.ptr == 1 && *number.ptr == '%';
}

/// A thread that cuts a pipe's text into lines and hands them to the callbacks. After a callback threw, it reads on
/// and calls nobody: the engine must not get stuck at a full pipe.
class LineThread {
public:
    LineThread(const Pipe& pipe, OnProgress onProgress, OnText onText, std::function<void()> onFailure)
        : pipe_(pipe), onProgress_(std::move(onProgress)), onText_(std::move(onText)), onFailure_(std::move(onFailure)),
          thread_([this] { readAll(); })
    {
    }
    LineThread(const LineThread&) = delete;
    LineThread& operator=(const LineThread&) = delete;
    ~LineThread() { finish(); }

    /// Ends the thread behind what is in the pipe now. Not by closing it: a child process that another thread started
    /// may have inherited the other end.
    void finish()
    {
        if (!thread_.joinable()) return;
        finishing_ = true;
        pipe_.write(kEnd);
        thread_.join();
    }

    // After finish:
    bool sawProgress() const { return sawProgress_; }
    const std::exception_ptr& failure() const { return failure_; }

private:
    void readAll()
    {
        char buffer[4096];
        std::string line;
        while (const std::size_t count = pipe_.read(buffer, sizeof buffer)) {
            for (const char byte : std::string_view(buffer, count)) {
                if (byte == '\0' && finishing_) {
                    if (!line.empty()) take(line);
                    return;
                }
                if (byte != '\n') {
                    line += byte;
                    continue;
                }
                take(line);
                line.clear();
            }
        }
    }

    void take(std::string_view line)
    {
        double percent = 0;
        const bool isProgress = parseProgress(line, percent);
        sawProgress_ = sawProgress_ || isProgress;
        if (failure_) return;
        try {
            if (isProgress && onProgress_) onProgress_(percent);
            if (!isProgress && onText_) onText_(line);
        } catch (...) {
            failure_ = std::current_exception();
            onFailure_();
        }
    }

    const Pipe& pipe_;
    OnProgress onProgress_;
    OnText onText_;
    std::function<void()> onFailure_;
    std::atomic<bool> finishing_{false};
    bool sawProgress_ = false;
    std::exception_ptr failure_;
    std::thread thread_; // last: it uses all of the above
};

/// A captured stream with the thread that reads it.
class Listener {
public:
    Listener(std::FILE* stream, OnProgress onProgress, OnText onText, std::function<void()> onFailure)
        : capture_(stream), lines_(capture_.pipe(), std::move(onProgress), std::move(onText), std::move(onFailure))
    {
    }

    void finish()
    {
        capture_.restore();
        lines_.finish();
    }
    const LineThread& lines() const { return lines_; }

private:
    Capture capture_;
    LineThread lines_;
};

inline int callEngine(EngineMain engine, std::vector<std::string> words)
{
    words.insert(words.begin(), "host");
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return engine(static_cast<int>(words.size()), pointers.data());
}

} // namespace detail

/// One run of the engine. Not copied, not moved; alive until `run` has returned and nobody calls `stop` any more.
class Job {
public:
    /// `arguments` as on the command line, without the program's name and without -inproc- options. The engine is the
    /// one that the program links.
    explicit Job(std::vector<std::string> arguments) : Job(std::move(arguments), &tesk_engine_main) {}

    /// The same with an engine that was loaded at run time; its library stays loaded until the process ends.
    Job(std::vector<std::string> arguments, EngineMain engine) : arguments_(std::move(arguments)), engine_(engine)
    {
        if (!engine_) throw std::invalid_argument("tesk_host::Job: no engine");
    }
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    /// Runs the job in the calling thread and returns the engine's status: 0, kStopped, 1 for a rejected command line,
    /// or a negative status of a failed step.
    ///
    /// One job at a time runs in a process; a second one, on another thread, waits here for the first.
    ///
    /// `onProgress` gets 0 to 100; `onText` every other line of standard output, such as a list that was asked for;
    /// `onError` the lines of standard error: reports, warnings, help. No line has its line feed. Without `onError`
    /// standard error stays where it is. All are called on threads of this header's, the last one on a thread of its
    /// own, and never after `run` has returned. They must not run another job. What they print to a stream that is read
    /// here comes back to them: meanwhile it is a pipe, for the whole process. If one throws, the job is stopped and
    /// `run` throws the same.
    ///
    /// Throws std::logic_error when called twice, std::system_error when there is no pipe or thread to be had. The
    /// streams are as before in every case.
    int run(OnProgress onProgress = {}, OnText onText = {}, OnText onError = {})
    {
        if (started_.exchange(true)) throw std::logic_error("tesk_host::Job: a job runs once");
        detail::Process& shared = detail::process();
        const std::lock_guard<std::mutex> one(shared.running);
        if (stopAsked_) return kStopped; // while it waited: the engine need not even begin
        const auto stopJob = [this] { stop(); };
        detail::Listener output(stdout, std::move(onProgress), std::move(onText), stopJob);
        std::optional<detail::Listener> errors;
        if (onError) errors.emplace(stderr, OnProgress{}, std::move(onError), stopJob);
        // Help and version leave their status to the next call, which does nothing else than return it.
        if (std::exchange(shared.statusLeft, false)) detail::callEngine(engine_, {});
        const int status = runOnce(shared);
        output.finish();
        if (errors) errors->finish();
        shared.statusLeft = status == 0 && !output.lines().sawProgress() && !isReverse();
        if (output.lines().failure()) std::rethrow_exception(output.lines().failure());
        if (errors && errors->lines().failure()) std::rethrow_exception(errors->lines().failure());
        return status;
    }

    /// Asks the job to stop; it does so at the next block of 1/75 s, and what was written stays, and can be read.
    /// Before `run`: the job will not begin. After it: nothing. Any thread, also a callback and a signal handler.
    void stop() noexcept
    {
        if (!stopAsked_.exchange(true)) channel_->send("stop\n");
    }

private:
    static_assert(std::atomic<bool>::is_always_lock_free, "stop() is called from signal handlers");

    bool has(const char* word) const
    {
        return std::find(arguments_.begin(), arguments_.end(), word) != arguments_.end();
    }
    bool isReverse() const { return has("--reverse"); }

    int runOnce(detail::Process& shared)
    {
        for (;;) {
            bool stopDelivered = false;
            const int status = callOnce(stopDelivered);
            // A stop that came behind the last block waits in the engine for the next job, which did not ask for it.
            if (status != kStopped) shared.lateStop = shared.lateStop || stopDelivered;
            if (status != kStopped || stopAsked_ || !std::exchange(shared.lateStop, false)) return status;
        }
    }

    int callOnce(bool& stopDelivered)
    {
        const detail::Listening listening(channel_);
        // In front: behind an option whose value is missing, they would be its value.
        std::vector<std::string> words = listening.words();
        if (!isReverse() && !has("--gui")) words.emplace_back("--gui"); // the way back knows no --gui
        words.insert(words.end(), arguments_.begin(), arguments_.end());
        const int status = detail::callEngine(engine_, std::move(words));
        stopDelivered = channel_->close();
        return status;
    }

    std::vector<std::string> arguments_;
    EngineMain engine_;
    std::shared_ptr<detail::Channel> channel_ = std::make_shared<detail::Channel>();
    std::atomic<bool> stopAsked_{false};
    std::atomic<bool> started_{false};
};

} // namespace tesk_host

#endif
