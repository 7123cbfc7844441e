// dasd round trips over its socket: starts the daemon (built-in Munich phone, a scratch
// socket and store), measures the time from its start to its first answered request and its
// resident memory when idle, then sends canonical conversion requests of the number corpus
// from 1, 8 and 32 clients at once and reports latency percentiles and requests per second.
// The same load then goes to a bare echo server on a Unix socket with the same framing (one
// thread per connection, each request answered with its own text as REPLY and a COMPLETE,
// both in one write), and dasd's figures are given as a fraction of the echo server's: what
// the socket, the framing and the client cost alone. Every loop is bounded in count and
// time; the daemon and the echo server are stopped at the end.
//
//   dasd_roundtrip [--requests N] [--starts N] [--footprint-only] [--dasd PATH]
// --requests: per client (5000); --starts: daemon starts timed for the start-up figures (5).

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Corpus.h"
#include "DasClient.h"
#include "Framing.h"
#include "UnixSocket.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kStartLimit = std::chrono::seconds(10);
constexpr auto kLoadLimit = std::chrono::seconds(30);
constexpr const char* kProbe = "canonicalconversionrequest:089 1234";

double milliseconds(Clock::duration duration) { return std::chrono::duration<double, std::milli>(duration).count(); }
double microseconds(Clock::duration duration) { return std::chrono::duration<double, std::micro>(duration).count(); }

class ScratchDirectory {
public:
    ScratchDirectory()
    {
        char pattern[] = "/tmp/dasd-bench-XXXXXX";
        const char* made = mkdtemp(pattern);
        if (made == nullptr) throw std::runtime_error("cannot make a scratch directory");
        path = made;
    }
    ~ScratchDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    std::string path;
};

// A dasd process of our own, stopped with SIGTERM when this object goes.
class Daemon {
public:
    Daemon(const std::string& program, const std::string& socket, const std::string& store)
    {
        m_pid = fork();
        if (m_pid < 0) throw std::runtime_error("fork failed");
        if (m_pid == 0) {
            // The daemon's own start and stop lines would interleave with the figures.
            const int quiet = open("/dev/null", O_WRONLY);
            if (quiet >= 0) {
                dup2(quiet, STDOUT_FILENO);
                dup2(quiet, STDERR_FILENO);
            }
            execl(program.c_str(), program.c_str(), "--socket", socket.c_str(), "--store", store.c_str(),
                  static_cast<char*>(nullptr));
            _exit(127);
        }
    }
    ~Daemon()
    {
        kill(m_pid, SIGTERM);
        int status = 0;
        waitpid(m_pid, &status, 0);
    }
    pid_t pid() const { return m_pid; }
    bool running() const
    {
        int status = 0;
        return waitpid(m_pid, &status, WNOHANG) == 0;
    }

private:
    pid_t m_pid = -1;
};

// Answers one connection of the echo server until the client goes: HELLO with WELCOME,
// each REQUEST with its own text as REPLY and then COMPLETE, in one write.
void echoConnection(int fd)
{
    FrameDecoder decoder;
    char buffer[4096];
    Frame frame;
    for (;;) {
        while (decoder.next(frame)) {
            std::string answer;
            if (frame.kind == FrameKind::Hello) {
                answer = encodeFrame(Frame{FrameKind::Welcome, 0, std::string()});
            } else if (frame.kind == FrameKind::Request) {
                answer = encodeFrame(Frame{FrameKind::Reply, frame.id, frame.text}) +
                         encodeFrame(Frame{FrameKind::Complete, frame.id, std::string()});
            }
            if (!answer.empty() && !writeAll(fd, answer)) {
                close(fd);
                return;
            }
        }
        const ssize_t count = recv(fd, buffer, sizeof buffer, 0);
        if (count <= 0 || decoder.failed()) {
            close(fd);
            return;
        }
        decoder.feed(buffer, static_cast<std::size_t>(count));
    }
}

// The echo server in a process of its own, as dasd is, stopped with SIGTERM when this
// object goes.
class EchoServer {
public:
    explicit EchoServer(const std::string& socket)
    {
        const int listening = listenUnixSocket(socket);
        m_pid = fork();
        if (m_pid < 0) throw std::runtime_error("fork failed");
        if (m_pid == 0) {
            for (;;) {
                const int fd = accept(listening, nullptr, nullptr);
                if (fd < 0) continue;
                std::thread(echoConnection, fd).detach();
            }
        }
        close(listening);
    }
    ~EchoServer()
    {
        kill(m_pid, SIGTERM);
        int status = 0;
        waitpid(m_pid, &status, 0);
    }
    EchoServer(const EchoServer&) = delete;
    EchoServer& operator=(const EchoServer&) = delete;

private:
    pid_t m_pid = -1;
};

// A line of /proc/PID/status, in kB ("VmRSS", "VmHWM"); -1 when absent.
long statusKilobytes(pid_t pid, const std::string& field)
{
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind(field + ":", 0) == 0) return std::strtol(line.c_str() + field.size() + 1, nullptr, 10);
    }
    return -1;
}

// Connects as soon as the daemon listens and sends the probe; the time from `started`.
std::unique_ptr<DasClient> firstAnswer(const Daemon& daemon, const std::string& socket, Clock::time_point started,
                                       Clock::duration& elapsed)
{
    while (Clock::now() - started < kStartLimit && daemon.running()) {
        try {
            auto client = std::make_unique<DasClient>(socket, "bench-probe");
            const auto replies = client->request(kProbe);
            elapsed = Clock::now() - started;
            if (replies.empty()) throw std::runtime_error("the probe got no reply");
            return client;
        } catch (const ClientError&) {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }
    throw std::runtime_error("dasd did not answer within 10 s");
}

struct LoadResult {
    std::vector<double> latenciesUs;
    double seconds = 0;
    bool cutShort = false;
};

// `clients` connections at once, each sending `requests` requests one after another.
LoadResult load(const std::string& socket, int clients, int requests, const std::vector<std::string>& texts)
{
    std::vector<std::vector<double>> perClient(static_cast<std::size_t>(clients));
    std::vector<std::unique_ptr<DasClient>> connections;
    for (int i = 0; i < clients; ++i) connections.push_back(std::make_unique<DasClient>(socket, "bench-" + std::to_string(i)));
    LoadResult result;
    const auto started = Clock::now();
    std::vector<std::thread> threads;
    std::atomic<bool> cutShort{false};
    for (int i = 0; i < clients; ++i) {
        threads.emplace_back([&, i] {
            auto& latencies = perClient[static_cast<std::size_t>(i)];
            latencies.reserve(static_cast<std::size_t>(requests));
            for (int n = 0; n < requests; ++n) {
                if (Clock::now() - started > kLoadLimit) {
                    cutShort = true;
                    return;
                }
                const std::string& text = texts[static_cast<std::size_t>(n * clients + i) % texts.size()];
                const auto sent = Clock::now();
                connections[static_cast<std::size_t>(i)]->request(text);
                latencies.push_back(microseconds(Clock::now() - sent));
            }
        });
    }
    for (auto& thread : threads) thread.join();
    result.seconds = std::chrono::duration<double>(Clock::now() - started).count();
    result.cutShort = cutShort;
    for (const auto& latencies : perClient) result.latenciesUs.insert(result.latenciesUs.end(), latencies.begin(), latencies.end());
    return result;
}

double percentile(std::vector<double>& sorted, double fraction)
{
    if (sorted.empty()) return 0;
    const auto index = static_cast<std::size_t>(fraction * static_cast<double>(sorted.size() - 1) + 0.5);
    return sorted[std::min(index, sorted.size() - 1)];
}

struct Figures {
    std::size_t requests = 0;
    double perSecond = 0;
    double p50 = 0;
    double p90 = 0;
    double p99 = 0;
    double max = 0;
    bool cutShort = false;
};

Figures figuresOf(LoadResult result)
{
    auto& latencies = result.latenciesUs;
    std::sort(latencies.begin(), latencies.end());
    Figures figures;
    figures.requests = latencies.size();
    figures.perSecond = static_cast<double>(latencies.size()) / result.seconds;
    figures.p50 = percentile(latencies, 0.50);
    figures.p90 = percentile(latencies, 0.90);
    figures.p99 = percentile(latencies, 0.99);
    figures.max = latencies.empty() ? 0.0 : latencies.back();
    figures.cutShort = result.cutShort;
    return figures;
}

void report(const char* server, int clients, const Figures& figures)
{
    std::printf("%s, %d client%s: %zu requests = %.0f requests/s; latency us p50 %.1f p90 %.1f p99 %.1f max %.1f%s\n",
                server, clients, clients == 1 ? "" : "s", figures.requests, figures.perSecond, figures.p50,
                figures.p90, figures.p99, figures.max, figures.cutShort ? " (cut short at the time limit)" : "");
}

struct Start {
    double millisecondsToAnswer;
    long idleKilobytes;
};

// Starts a daemon, waits for its first answer, lets it idle and reads its resident memory.
Start measureStart(const std::string& program, const std::string& directory)
{
    const std::string socket = directory + "/dasd.sock";
    std::filesystem::remove(directory + "/store.sqlite");
    const auto started = Clock::now();
    Daemon daemon(program, socket, directory + "/store.sqlite");
    Clock::duration untilAnswer{};
    firstAnswer(daemon, socket, started, untilAnswer).reset();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    return {milliseconds(untilAnswer), statusKilobytes(daemon.pid(), "VmRSS")};
}

template <typename T>
T median(std::vector<T> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv)
{
    std::string program = DASD_PATH;
    int requests = 5000;
    int starts = 5;
    bool footprintOnly = false;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--requests" && i + 1 < argc) {
            requests = std::max(1, std::atoi(argv[++i]));
        } else if (argument == "--starts" && i + 1 < argc) {
            starts = std::max(1, std::atoi(argv[++i]));
        } else if (argument == "--dasd" && i + 1 < argc) {
            program = argv[++i];
        } else if (argument == "--footprint-only") {
            footprintOnly = true;
        } else {
            std::fprintf(stderr, "usage: dasd_roundtrip [--requests N] [--starts N] [--footprint-only] [--dasd PATH]\n");
            return 2;
        }
    }
    try {
        ScratchDirectory scratch;
        std::vector<double> answerTimes;
        std::vector<long> idleMemory;
        for (int i = 0; i < starts; ++i) {
            const Start start = measureStart(program, scratch.path);
            answerTimes.push_back(start.millisecondsToAnswer);
            idleMemory.push_back(start.idleKilobytes);
        }
        std::printf("dasd start to first answer: median %.1f ms of %d starts (min %.1f, max %.1f)\n",
                    median(answerTimes), starts, *std::min_element(answerTimes.begin(), answerTimes.end()),
                    *std::max_element(answerTimes.begin(), answerTimes.end()));
        std::printf("dasd idle resident memory: median %ld kB of %d starts (min %ld, max %ld)\n", median(idleMemory),
                    starts, *std::min_element(idleMemory.begin(), idleMemory.end()),
                    *std::max_element(idleMemory.begin(), idleMemory.end()));
        if (footprintOnly) return 0;

        const std::string socket = scratch.path + "/dasd.sock";
        std::filesystem::remove(scratch.path + "/store.sqlite");
        Daemon daemon(program, socket, scratch.path + "/store.sqlite");
        Clock::duration untilAnswer{};
        firstAnswer(daemon, socket, Clock::now(), untilAnswer).reset();
        std::vector<std::string> texts;
        for (const auto& number : benchcorpus::ofRegion("DE")) texts.push_back("canonicalconversionrequest:" + number.text);
        if (texts.empty()) texts.push_back(kProbe);
        constexpr std::array<int, 3> kClients = {1, 8, 32};
        std::array<Figures, 3> dasd;
        for (std::size_t i = 0; i < kClients.size(); ++i) {
            dasd[i] = figuresOf(load(socket, kClients[i], requests, texts));
            report("dasd", kClients[i], dasd[i]);
        }
        std::printf("dasd resident memory after the load: %ld kB\n", statusKilobytes(daemon.pid(), "VmRSS"));

        const std::string echoSocket = scratch.path + "/echo.sock";
        EchoServer echo(echoSocket);
        for (std::size_t i = 0; i < kClients.size(); ++i) {
            const Figures baseline = figuresOf(load(echoSocket, kClients[i], requests, texts));
            report("echo", kClients[i], baseline);
            std::printf("dasd / echo, %d client%s: requests/s %.0f %%, latency p50 %.1fx, p99 %.1fx\n", kClients[i],
                        kClients[i] == 1 ? "" : "s", 100.0 * dasd[i].perSecond / baseline.perSecond,
                        dasd[i].p50 / baseline.p50, dasd[i].p99 / baseline.p99);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "dasd_roundtrip: %s\n", error.what());
        return 1;
    }
    return 0;
}
