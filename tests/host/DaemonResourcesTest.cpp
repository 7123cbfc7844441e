// dasd when resources run out or one client misbehaves: it never spins, never dies and never
// grows without bound because of one client. Faults are injected for real into a dasd
// process: its descriptor and address space limits are lowered while it runs (prlimit), and
// clients flood it with frames.

#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "DaemonProcess.h"
#include "DasClient.h"
#include "Framing.h"
#include "ScratchDirectory.h"
#include "TextFiles.h"
#include "UnixSocket.h"
#include "Watchdog.h"

namespace {

using namespace std::chrono_literals;

std::size_t countLines(const std::string& text, const std::string& part)
{
    std::istringstream lines(text);
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line);) count += contains(line, part) ? 1 : 0;
    return count;
}

// User and system CPU time the process has used so far.
std::chrono::milliseconds cpuTime(pid_t pid)
{
    const std::string stat = readFile("/proc/" + std::to_string(pid) + "/stat");
    // Fields after the command (which may hold blanks): state is field 3, utime 14, stime 15.
    std::istringstream fields(stat.substr(stat.rfind(')') + 2));
    std::string field;
    long long ticks = 0;
    for (int number = 3; number <= 15 && fields >> field; ++number) {
        if (number >= 14) ticks += std::stoll(field);
    }
    return std::chrono::milliseconds(ticks * 1000 / sysconf(_SC_CLK_TCK));
}

std::size_t openDescriptors(pid_t pid)
{
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd"))
        ++count;
    return count;
}

// A size from the process's status in bytes: "VmSize" (its address space), "VmRSS" (its memory).
rlim_t statusBytes(pid_t pid, const std::string& key)
{
    std::istringstream status(readFile("/proc/" + std::to_string(pid) + "/status"));
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(key + ":", 0) == 0) return static_cast<rlim_t>(std::stoull(line.substr(key.size() + 1))) * 1024;
    }
    return 0;
}

rlim_t addressSpace(pid_t pid) { return statusBytes(pid, "VmSize"); }

void setSoftLimit(pid_t pid, int resource, rlim_t value)
{
    rlimit limit{};
    ASSERT_EQ(prlimit(pid, static_cast<__rlimit_resource>(resource), nullptr, &limit), 0);
    limit.rlim_cur = value;
    ASSERT_EQ(prlimit(pid, static_cast<__rlimit_resource>(resource), &limit, nullptr), 0);
}

// Running: neither gone nor ended and waiting to be reaped.
// Whether the process's soft limit named as in /proc/PID/limits ("Max address space") is in
// force: an emulator (qemu-user, for the armhf build) keeps some limits to itself.
bool limitInForce(pid_t pid, const std::string& name)
{
    std::istringstream limits(readFile("/proc/" + std::to_string(pid) + "/limits"));
    for (std::string line; std::getline(limits, line);) {
        if (line.rfind(name, 0) == 0) return !contains(line.substr(name.size(), 26), "unlimited");
    }
    return false;
}

// Whether dasd's memory is its own: under a sanitizer its allocator ends the process when
// memory runs out instead of failing the allocation, and its shadow memory and quarantine
// swell the resident size, so tests that starve or measure memory cannot run there.
bool memoryIsPlain()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return false;
#else
    return true;
#endif
}

// Whether the process runs under an emulator (qemu-user, for the armhf build): its resident
// size is then mostly the emulator's own.
bool underEmulator(pid_t pid)
{
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/exe", error);
    return !error && contains(program.filename().string(), "qemu");
}

bool alive(pid_t pid)
{
    const std::string stat = readFile("/proc/" + std::to_string(pid) + "/stat");
    const auto end = stat.rfind(')');
    return end != std::string::npos && end + 2 < stat.size() && stat[end + 2] != 'Z';
}

// A connection that speaks frames directly: to send what DasClient would not.
class RawClient {
public:
    explicit RawClient(const std::string& socketPath) : m_fd(connectUnixSocket(socketPath)) {}
    ~RawClient() { close(m_fd); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    void send(const std::string& bytes) { writeAll(m_fd, bytes); }
    // Ends the connection both ways: a send blocked on it returns.
    void hangUp() { shutdown(m_fd, SHUT_RDWR); }

    // The frames that arrive until `enough` says so, the daemon hangs up or `limit` passes.
    std::vector<Frame> receive(const std::function<bool(const std::vector<Frame>&)>& enough,
                               std::chrono::milliseconds limit = 20s)
    {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        char buffer[65536];
        while (!enough(m_frames)) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0) break;
            pollfd readable{m_fd, POLLIN, 0};
            if (poll(&readable, 1, static_cast<int>(left.count())) <= 0) break;
            const ssize_t count = recv(m_fd, buffer, sizeof buffer, 0);
            if (count <= 0) break;
            m_decoder.feed(buffer, static_cast<std::size_t>(count));
            Frame frame;
            while (m_decoder.next(frame)) m_frames.push_back(frame);
        }
        return m_frames;
    }

private:
    int m_fd;
    FrameDecoder m_decoder;
    std::vector<Frame> m_frames;
};

class HostDaemonResources : public ::testing::Test {
protected:
    ScratchDirectory scratch{"dasd-resources"};
    const std::string directory = scratch.path();
    DaemonProcess daemon{directory};
    Watchdog watchdog{120s, "a resource test"};

    ~HostDaemonResources() override { daemon.stop(); }

    std::string log() const { return readFile(daemon.log()); }

    void waitForLog(const std::string& part, std::chrono::milliseconds limit = 10s) const
    {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (!contains(log(), part) && std::chrono::steady_clock::now() < deadline) std::this_thread::sleep_for(20ms);
    }
};

TEST_F(HostDaemonResources, OutOfDescriptorsTheListenerRestsLogsOnceAndServesAgain)
{
    daemon.start();
    const pid_t pid = daemon.pid();
    // One request answered before the starving: under UBSan the first check of an object's
    // dynamic type opens a pipe (to probe its vtable), and with no descriptor left for it the
    // check fails and ends the process. Once seen, a type is checked from a cache. dasd itself
    // needs no descriptor to answer a request.
    {
        DasClient warmUp(daemon.socket(), "");
        ASSERT_EQ(warmUp.request("isfacprefixrequest:*72"), std::vector<std::string>{"isfacprefixresponse:*72,1"});
    }
    // The connection that found the daemon serving is taken away within a second or so: wait
    // until the daemon's descriptors have settled, so that none frees up in the middle.
    std::size_t settled = openDescriptors(pid);
    for (int attempt = 0; attempt < 20; ++attempt) {
        std::this_thread::sleep_for(1200ms);
        const std::size_t now = openDescriptors(pid);
        if (now == settled) break;
        settled = now;
    }
    // Room for a few connections only; the rest wait in the listening socket's backlog.
    setSoftLimit(pid, RLIMIT_NOFILE, openDescriptors(pid) + 3);
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 8; ++i) {
        clients.push_back(std::make_unique<RawClient>(daemon.socket()));
        // Without a name: no event proxy is made (under UBSan its type checks need descriptors).
        clients.back()->send(encodeFrame(Frame{FrameKind::Hello, 0, ""}));
    }
    waitForLog("cannot accept connections");
    EXPECT_TRUE(contains(log(), "dasd: cannot accept connections: Too many open files; trying again every 250 ms"))
        << log();

    // A listener that retried at once would use a whole processor here.
    const auto before = cpuTime(pid);
    std::this_thread::sleep_for(1s);
    const auto used = cpuTime(pid) - before;
    EXPECT_LT(used.count(), 200) << "ms of processor time in one second while out of descriptors";
    EXPECT_EQ(countLines(log(), "cannot accept connections"), 1u) << log();

    clients.clear();
    std::vector<std::string> answer;
    try {
        DasClient client(daemon.socket(), "");
        answer = client.request("isfacprefixrequest:*72");
    } catch (const std::exception& error) {
        ADD_FAILURE() << error.what() << "\n" << log();
    }
    EXPECT_EQ(answer, std::vector<std::string>{"isfacprefixresponse:*72,1"});
    EXPECT_TRUE(contains(log(), "dasd: accepting connections again, after ")) << log();
    EXPECT_TRUE(alive(pid));
}

TEST_F(HostDaemonResources, ClientWhoseThreadCannotStartIsRefusedAndServingGoesOn)
{
    if (!memoryIsPlain()) GTEST_SKIP() << "a sanitizer's allocator ends the daemon when memory runs out";
    daemon.start();
    const pid_t pid = daemon.pid();
    // No room for another thread's stack: starting a reader thread fails for real.
    setSoftLimit(pid, RLIMIT_AS, addressSpace(pid) + 2 * 1024 * 1024);
    if (!limitInForce(pid, "Max address space")) GTEST_SKIP() << "the emulator keeps the address space limit to itself";
    std::vector<std::unique_ptr<DasClient>> held;
    std::string refusal;
    for (int i = 0; i < 10 && refusal.empty(); ++i) {
        try {
            held.push_back(std::make_unique<DasClient>(daemon.socket(), "held-" + std::to_string(i)));
        } catch (const ClientError& error) {
            refusal = error.what();
        }
    }
    EXPECT_EQ(refusal, "the daemon refused the client: refused: the daemon cannot take another client now");
    EXPECT_TRUE(alive(pid));
    // The client hears of it first, the log right after.
    waitForLog("dasd: refused a client: cannot start its reader thread: ");
    EXPECT_TRUE(contains(log(), "dasd: refused a client: cannot start its reader thread: ")) << log();

    setSoftLimit(pid, RLIMIT_AS, RLIM_INFINITY);
    for (auto& client : held)
        EXPECT_EQ(client->request("isfacprefixrequest:*72"), std::vector<std::string>{"isfacprefixresponse:*72,1"});
    DasClient after(daemon.socket(), "after");
    EXPECT_EQ(after.request("isfacprefixrequest:*72"), std::vector<std::string>{"isfacprefixresponse:*72,1"});
}

TEST_F(HostDaemonResources, FaultWhileHandlingOneClientEndsOnlyThatClientsWork)
{
    if (!memoryIsPlain()) GTEST_SKIP() << "a sanitizer's allocator ends the daemon when memory runs out";
    daemon.start();
    const pid_t pid = daemon.pid();
    DasClient bystander(daemon.socket(), "bystander");
    RawClient big(daemon.socket());
    big.send(encodeFrame(Frame{FrameKind::Hello, 0, "big"}));
    ASSERT_EQ(big.receive([](const std::vector<Frame>& frames) { return !frames.empty(); }).size(), 1u);

    // Too little memory left to take in a request of a megabyte.
    setSoftLimit(pid, RLIMIT_AS, addressSpace(pid) + 256 * 1024);
    if (!limitInForce(pid, "Max address space")) GTEST_SKIP() << "the emulator keeps the address space limit to itself";
    const std::string keyword = "isCanonicalDataValidRequest";
    big.send(encodeFrame(Frame{FrameKind::Request, 1, keyword + std::string(kMaxFrameLength - 5 - keyword.size(), '7')}));
    const auto frames = big.receive([](const std::vector<Frame>& got) {
        return got.size() > 1 && (got.back().kind == FrameKind::Error || got.back().kind == FrameKind::Complete);
    });
    std::this_thread::sleep_for(200ms);
    setSoftLimit(pid, RLIMIT_AS, RLIM_INFINITY);

    ASSERT_TRUE(alive(pid)) << log();
    ASSERT_GT(frames.size(), 1u) << log();
    if (frames.back().kind == FrameKind::Error) {
        EXPECT_EQ(frames.back().text, "internal error: the daemon could not go on with this connection");
        EXPECT_TRUE(contains(log(), "dasd: client \"big\": connection ended by a fault in the daemon: ")) << log();
    }
    EXPECT_EQ(bystander.request("isfacprefixrequest:*72"), std::vector<std::string>{"isfacprefixresponse:*72,1"});
}

TEST_F(HostDaemonResources, RequestsWaitingForAClientThatDoesNotReadAreBoundedBySize)
{
    if (!memoryIsPlain()) GTEST_SKIP() << "a sanitizer's shadow memory swells the resident size";
    daemon.start();
    const pid_t pid = daemon.pid();
    if (underEmulator(pid)) GTEST_SKIP() << "the emulator's own memory swells the resident size";
    const rlim_t before = statusBytes(pid, "VmRSS");
    // Small requests until the replies fill the socket (the client reads none) and the
    // message thread waits to send; then requests of a megabyte each, 48 MiB in all.
    std::string stream = encodeFrame(Frame{FrameKind::Hello, 0, "stuck"});
    std::uint32_t id = 0;
    for (int i = 0; i < 400; ++i) stream += encodeFrame(Frame{FrameKind::Request, ++id, "isCanonicalDataValidRequest"});
    const std::string keyword = "isCanonicalDataValidRequest";
    const std::string big = keyword + std::string(kMaxFrameLength - 5 - keyword.size(), '7');
    for (int i = 0; i < 48; ++i) stream += encodeFrame(Frame{FrameKind::Request, ++id, big});

    RawClient stuck(daemon.socket());
    std::thread writer([&] { stuck.send(stream); });
    std::this_thread::sleep_for(2s);
    const rlim_t grown = statusBytes(pid, "VmRSS") - std::min(before, statusBytes(pid, "VmRSS"));
    stuck.hangUp();
    writer.join();
    EXPECT_LT(grown, 16u * 1024 * 1024) << "bytes the daemon took in for one client that does not read";
    DasClient other(daemon.socket(), "other");
    EXPECT_EQ(other.request("isfacprefixrequest:*72"), std::vector<std::string>{"isfacprefixresponse:*72,1"});
}

TEST_F(HostDaemonResources, ManagementFloodIsAnsweredBusyWhileOthersAreServed)
{
    daemon.start();
    std::string plan = R"({"dial-plan-id": "FLOOD", "dialPlanSettings": [)";
    for (int i = 1; i <= 40; ++i) {
        plan += std::string(i > 1 ? "," : "") + R"({"digit-string": ")" + std::to_string(i) +
                R"(", "action": "S", "min-digit-len": "", "max-digit-len": "", "timer": "0", "terminating-char": "", )"
                R"("spec-num-indic": "", "comment": "", "terminating-char-sent": "false"})";
    }
    plan += "]}";
    constexpr std::uint32_t kFrames = 300;
    std::string flood = encodeFrame(Frame{FrameKind::Hello, 0, "flood"});
    for (std::uint32_t id = 1; id <= kFrames; ++id) flood += encodeFrame(Frame{FrameKind::MgmtSet, id, plan});

    RawClient flooder(daemon.socket());
    // Written while the answers are read, as a client that sends without waiting must.
    std::thread writer([&] { flooder.send(flood); });
    std::vector<Frame> frames;
    std::thread reader([&] {
        frames = flooder.receive([](const std::vector<Frame>& got) { return got.size() == kFrames + 1; }, 60s);
    });
    DasClient other(daemon.socket(), "other");
    const Json read = other.managementGet({"dial-plan-enabled"});
    EXPECT_TRUE(read.contains("ok")) << "a client that does not flood is not turned away: " << read.dump();
    writer.join();
    reader.join();

    ASSERT_EQ(frames.size(), kFrames + 1) << "every management frame is answered; the last: "
                                          << frameKindName(frames.back().kind) << " " << frames.back().text << "\n"
                                          << log();
    std::vector<int> answers(kFrames + 1, 0);
    std::size_t busy = 0;
    for (std::size_t i = 1; i < frames.size(); ++i) {
        ASSERT_EQ(frames[i].kind, FrameKind::MgmtResult);
        ASSERT_LE(frames[i].id, kFrames);
        ++answers[frames[i].id];
        if (frames[i].text == R"({"error":"busy: too many management messages are waiting; try again later"})") {
            ++busy;
        } else {
            EXPECT_EQ(frames[i].text, R"({"ok":true})");
        }
    }
    for (std::uint32_t id = 1; id <= kFrames; ++id) EXPECT_EQ(answers[id], 1) << "frame " << id;
    EXPECT_GT(busy, 0u);
    EXPECT_LT(busy, static_cast<std::size_t>(kFrames));
}

TEST_F(HostDaemonResources, NamesOfClientsThatLeftAreRecycled)
{
    daemon.start();
    // More names than the daemon keeps at once, each gone before the next comes; half of
    // them reach the service with a request.
    for (int i = 0; i < 1100; ++i) {
        DasClient client(daemon.socket(), "name-" + std::to_string(i));
        if (i % 2 == 0) {
            ASSERT_EQ(client.request("isfacprefixrequest:" + std::to_string(i)),
                      std::vector<std::string>{"isfacprefixresponse:" + std::to_string(i) + ",0"});
        }
    }
    DasClient newcomer(daemon.socket(), "newcomer");
    EXPECT_EQ(newcomer.request("isfacprefixrequest:*72"), std::vector<std::string>{"isfacprefixresponse:*72,1"});
}

TEST_F(HostDaemonResources, NameKeptByAConnectedClientIsNotRecycled)
{
    daemon.start();
    DasClient listener(daemon.socket(), "dialler");
    std::vector<std::string> events;
    std::mutex eventsMutex;
    DasClient dialler(daemon.socket(), "dialler",
                      DasClient::Handlers{[&](const std::string& event) {
                                              std::lock_guard<std::mutex> lock(eventsMutex);
                                              events.push_back(event);
                                          },
                                          {}});
    dialler.request("set_dialler_request");
    for (int i = 0; i < 1100; ++i) DasClient passing(daemon.socket(), "passing-" + std::to_string(i));
    dialler.request("startdiallingrequest:2,0");
    std::this_thread::sleep_for(200ms);
    std::lock_guard<std::mutex> lock(eventsMutex);
    EXPECT_EQ(events, std::vector<std::string>{"handledialingstartedevent:2"});
}

TEST_F(HostDaemonResources, FaultyClientCannotFloodTheLog)
{
    daemon.start();
    constexpr int kRequests = 2000;
    // Each request is refused by the service with a log line that quotes it, four bytes for
    // each byte of its number.
    const std::string request = "dialstringrequest:" + std::string(1000, '\xff');
    std::size_t traffic = 0;
    const auto started = std::chrono::steady_clock::now();
    {
        DasClient faulty(daemon.socket(), "faulty");
        for (int i = 0; i < kRequests; ++i) {
            ASSERT_EQ(faulty.request(request), std::vector<std::string>{"errorresponse"});
            traffic += request.size();
        }
    }
    const auto windows = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - started) / 10s + 1;
    EXPECT_EQ(daemon.stop(), 0);
    const std::string text = log();
    const std::size_t written = countLines(text, "Invalid request string");
    EXPECT_GE(written, 1u);
    EXPECT_LE(written, 10u * static_cast<std::size_t>(windows)) << "ten in each window of ten seconds the flood lasted";
    std::size_t suppressed = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const std::string prefix = "dasd: client \"faulty\": ";
        if (line.rfind(prefix, 0) == 0 && contains(line, " more fault lines suppressed"))
            suppressed += std::stoul(line.substr(prefix.size()));
    }
    EXPECT_EQ(written + suppressed, static_cast<std::size_t>(kRequests)) << "every line is written or counted";
    EXPECT_LT(text.size(), traffic / 20) << "log bytes against the client's traffic";
}

}  // namespace
