#include "binding/interpreter/testing/embedded_interpreter.h"

#include "engine/ssdp_search_worker_thread.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "binding/interpreter/interpreter_lock.h"
#include "core/testing/becomes_true.h"
#include "core/testing/failing_allocation.h"
#include "engine/testing/scripted_udp_socket.h"
#include "engine/testing/search_answers.h"
#include "engine/testing/watched_calls.h"
#include "engine/vireon.h"
#include "net/testing/loopback.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

const NPT_IpAddress kLoopbackAddress(127, 0, 0, 1);

// What is due after half a second is late then, even on a busy machine.
constexpr milliseconds kLate(3000);

// A server on the loopback interface that sees the searches and answers as the test says.
class Server {
  public:
    Server() {
        EXPECT_EQ(socket_.Bind(NPT_SocketAddress(kLoopbackAddress, 0), false), NPT_SUCCESS);
    }

    NPT_UInt16 GetPort() {
        NPT_SocketInfo info;
        EXPECT_EQ(socket_.GetInfo(info), NPT_SUCCESS);
        return info.local_address.GetPort();
    }
    // The next datagram, or "" when none comes in time.
    std::string Receive(NPT_Timeout limit = 5000) {
        NPT_DataBuffer packet(4096);
        NPT_SocketAddress source;
        socket_.SetReadTimeout(limit);
        if (NPT_Failed(socket_.Receive(packet, &source))) return "";
        searcher_ = source;
        return std::string(reinterpret_cast<const char*>(packet.GetData()), packet.GetDataSize());
    }
    void SetSearcher(const NPT_SocketAddress& searcher) { searcher_ = searcher; }
    void Send(const std::string& text) {
        NPT_DataBuffer packet;
        packet.SetData(reinterpret_cast<const NPT_UInt8*>(text.data()),
                       static_cast<NPT_UInt32>(text.size()));
        EXPECT_EQ(socket_.Send(packet, &searcher_), NPT_SUCCESS);
    }

  private:
    NPT_UdpSocket socket_;
    NPT_SocketAddress searcher_;
};

class SsdpSearchWorker : public testing::Test {
  protected:
    SsdpSearchWorker() {
        script::Run(
            "devices = []\n"
            "def collect(event, device): devices.append(device)\n");
        vireon_->SetCallback(script::Get("collect"));
        vireon_->SearchInterfaces(NPT_List<NPT_NetworkInterface*>());
    }
    ~SsdpSearchWorker() override {
        if (vireon_) vireon_->Stop();
        if (worker_) worker_->Close();
    }

    void Start(double interval, const char* host = "127.0.0.1") {
        auto* const request =
            new NPT_HttpRequest(NPT_HttpUrl(host, server_.GetPort(), "*"), "M-SEARCH", "HTTP/1.1");
        worker_ = std::make_shared<SsdpSearchWorkerThread>(vireon_.get(), new NPT_UdpSocket,
                                                           request, NPT_TimeInterval(interval));
        start_ = Clock::now();
        EXPECT_EQ(worker_->Start(), 1);
    }
    // Takes the two datagrams of a cycle and gives their text.
    std::string ReceiveSearch() {
        const std::string first = server_.Receive();
        EXPECT_EQ(server_.Receive(), first);
        return first;
    }
    static std::string Answer(const std::string& name) {
        return search_answers::Print(
            search_answers::With(search_answers::Complete(), "FriendlyName", name));
    }
    static std::string GetNames() {
        return script::Evaluate("[device['friendlyName'] for device in devices]");
    }
    // For at most ten seconds.
    static void WaitForNames(const std::string& names) {
        script::BecomesTrue("[device['friendlyName'] for device in devices] == " + names);
        EXPECT_EQ(GetNames(), names);
    }
    // For at most half a second after the last one was sent, on a machine that has time.
    static void WaitForCount(int count) {
        const std::string wanted = std::to_string(count);
        script::BecomesTrue("len(devices) == " + wanted, 2000);
        EXPECT_EQ(script::Evaluate("len(devices)"), wanted);
    }
    // How long it takes from the start until both datagrams of the next cycle are there, while the
    // test does something over and over.
    Clock::duration WaitForNextSearch(const std::function<void()>& meanwhile) {
        PyAutoUnlock2 unlocked;
        while (Clock::now() - start_ < milliseconds(10000)) {
            meanwhile();
            if (server_.Receive(1).empty()) continue;
            EXPECT_FALSE(server_.Receive().empty());
            break;
        }
        return Clock::now() - start_;
    }
    // Closes the engine and ends the worker's wait for an answer.
    void CloseAndWake() {
        vireon_->isClosed = true;
        server_.Send("");
    }
    Clock::duration Stop() {
        const Clock::time_point start = Clock::now();
        vireon_->Stop();
        worker_->Close();
        return Clock::now() - start;
    }

    const int waits_before_ = watched_calls::event_waits;  // before the dispatch thread's first
    Server server_;
    std::unique_ptr<Vireon> vireon_ = std::make_unique<Vireon>();
    std::shared_ptr<SsdpSearchWorkerThread> worker_;
    // Taken before the worker runs: the test may see late what the worker does, never early.
    Clock::time_point start_;
};

TEST_F(SsdpSearchWorker, SendsTheSameSearchTwice) {
    Start(30);
    EXPECT_EQ(ReceiveSearch(), "M-SEARCH * HTTP/1.1\r\nConnection: close\r\nHost: 127.0.0.1:" +
                                   std::to_string(server_.GetPort()) + "\r\n\r\n");
    EXPECT_EQ(server_.Receive(100), "");
    CloseAndWake();
}

TEST_F(SsdpSearchWorker, SearchesAgainEveryInterval) {
    Start(0.3);
    const std::string search = ReceiveSearch();
    EXPECT_EQ(ReceiveSearch(), search);
    EXPECT_EQ(ReceiveSearch(), search);
    const Clock::duration elapsed = Clock::now() - start_;
    EXPECT_GE(elapsed, milliseconds(550));
    EXPECT_LT(elapsed, kLate);
}

TEST_F(SsdpSearchWorker, HandsAnswersToTheEngine) {
    Start(30);
    ReceiveSearch();
    server_.Send(Answer("first"));
    server_.Send(Answer("second"));
    WaitForNames("['first', 'second']");
    CloseAndWake();
}

TEST_F(SsdpSearchWorker, KnowsTheResponderOfAnAnswer) {
    Start(30);
    ReceiveSearch();
    server_.Send(search_answers::Print(search_answers::With(search_answers::Complete(), "LOCATION",
                                                            "http://localhost:8080/d.xml")));
    WaitForNames("['Den']");
    EXPECT_EQ(script::Evaluate("devices[0]['location']"), "'http://127.0.0.1:8080/d.xml'");
    CloseAndWake();
}

TEST_F(SsdpSearchWorker, TakesAnAnswerWithoutAnEmptyLineAtOnce) {
    Start(30);
    ReceiveSearch();
    std::string answer = Answer("Den");
    answer.resize(answer.size() - 2);
    server_.Send(answer);
    WaitForNames("['Den']");
    CloseAndWake();
}

TEST_F(SsdpSearchWorker, TakesNoAnswerForTheRestOfAnother) {
    Start(30);
    ReceiveSearch();
    const std::string whole = Answer("whole");
    server_.Send("HTTP/1.1 200 OK\r\n");
    server_.Send(whole);
    server_.Send(whole.substr(0, whole.find("USN")));
    server_.Send(Answer("second"));
    WaitForNames("['whole', 'second']");
    CloseAndWake();
}

TEST_F(SsdpSearchWorker, SkipsInterimAnswers) {
    Start(30);
    ReceiveSearch();
    server_.Send("HTTP/1.1 100 Continue\r\n\r\n");
    server_.Send(Answer("Den"));
    WaitForNames("['Den']");
    CloseAndWake();
}

TEST_F(SsdpSearchWorker, GoesOnAfterBadAnswers) {
    Start(30);
    ReceiveSearch();
    for (const std::string& bad :
         {std::string(), std::string("\0", 1), std::string("garbage"), std::string("\r\n"),
          std::string("HTTP/1.1 404 Not Found\r\n\r\n"), std::string(2001, 'x'),
          std::string(60000, '\n'), Answer(std::string(3000, 'x'))}) {
        server_.Send(bad);
        PyAutoUnlock2 unlocked;
        std::this_thread::sleep_for(milliseconds(200));
    }
    server_.Send(Answer("good"));
    WaitForNames("['good']");
    CloseAndWake();
}

TEST_F(SsdpSearchWorker, TakesAnAnswerThatFillsTheBuffer) {
    Start(30);
    ReceiveSearch();
    const std::size_t rest = 2000 - Answer("").size();
    const std::string name(rest, 'x');
    ASSERT_EQ(Answer(name).size(), 2000u);
    server_.Send(Answer(name));
    WaitForNames("['" + name + "']");
    CloseAndWake();
}

// How many answers a socket has room for that asks for nothing.
int CountWhatASocketHolds(Server& server, int sent, const std::string& answer) {
    NPT_UdpSocket socket;
    server.SetSearcher(BindToLoopback(socket));
    for (int count = 0; count < sent; ++count)
        server.Send(answer);
    NPT_DataBuffer packet(2000);
    socket.SetReadTimeout(0);
    int held = 0;
    while (NPT_Succeeded(socket.Receive(packet)))
        ++held;
    return held;
}

TEST_F(SsdpSearchWorker, HasRoomForMoreAnswersThanASocketHasByItself) {
    constexpr int kSent = 1500;
    const int usual = CountWhatASocketHolds(server_, kSent, Answer("Den"));
    ASSERT_LT(usual, kSent);
    auto socket = std::make_unique<NPT_UdpSocket>();
    server_.SetSearcher(BindToLoopback(*socket));
    auto* const request = new NPT_HttpRequest(NPT_HttpUrl("127.0.0.1", server_.GetPort(), "*"),
                                              "M-SEARCH", "HTTP/1.1");
    worker_ = std::make_shared<SsdpSearchWorkerThread>(vireon_.get(), socket.release(), request,
                                                       NPT_TimeInterval(30.0));
    for (int count = 0; count < kSent; ++count)
        server_.Send(Answer("Den"));
    worker_->Start();
    EXPECT_TRUE(script::BecomesTrue("len(devices) > " + std::to_string(usual)));
    CloseAndWake();
}

TEST_F(SsdpSearchWorker, StaysOnTimeUnderASteadyStreamOfAnswers) {
    Start(0.5);
    ReceiveSearch();
    const Clock::duration elapsed = WaitForNextSearch([this] { server_.Send(Answer("Den")); });
    EXPECT_GE(elapsed, milliseconds(400));
    EXPECT_LT(elapsed, kLate);
}

TEST_F(SsdpSearchWorker, StaysOnTimeUnderAnEndlessAnswer) {
    Start(0.5);
    ReceiveSearch();
    server_.Send("HTTP/1.1 200 OK\r\n");
    const Clock::duration elapsed = WaitForNextSearch([this] { server_.Send("more: of it\r\n"); });
    EXPECT_GE(elapsed, milliseconds(400));
    EXPECT_LT(elapsed, kLate);
}

TEST_F(SsdpSearchWorker, StaysOnTimeUnderAFloodOfNonsense) {
    for (const std::string& nonsense : {std::string(), std::string("x"), std::string("x\r\n")}) {
        SCOPED_TRACE(nonsense);
        Start(0.5);
        ReceiveSearch();
        const Clock::duration elapsed =
            WaitForNextSearch([this, &nonsense] { server_.Send(nonsense); });
        EXPECT_GE(elapsed, milliseconds(400));
        EXPECT_LT(elapsed, kLate);
        Stop();
        while (!server_.Receive(200).empty()) {
        }
        vireon_->isClosed = false;
    }
}

// How long until a good answer arrives in the middle of so many bad datagrams a second.
constexpr int kBadDatagramRates[] = {10, 30, 300};

TEST_F(SsdpSearchWorker, LosesNoAnswerToBadDatagrams) {
    const std::string bad_datagrams[] = {"", "garbage", std::string(2001, 'x'),
                                         "NOTIFY * HTTP/1.1\r\n\r\n"};
    Start(30);
    ReceiveSearch();
    for (const int rate : kBadDatagramRates) {
        SCOPED_TRACE(rate);
        script::Run("del devices[:]");
        int good = 0;
        {
            PyAutoUnlock2 unlocked;
            for (int sent = 0; sent < rate; ++sent) {
                server_.Send(bad_datagrams[sent % 4]);
                if (sent % (rate / 10) == 0) server_.Send(Answer(std::to_string(good++)));
                std::this_thread::sleep_for(std::chrono::microseconds(1000000 / rate));
            }
        }
        WaitForCount(good);
    }
    CloseAndWake();
}

TEST_F(SsdpSearchWorker, EndsWithinOneIntervalWhenTheEngineIsClosed) {
    Start(0.5);
    ReceiveSearch();
    EXPECT_LT(Stop(), milliseconds(1500));
}

TEST_F(SsdpSearchWorker, EndsWithinOneIntervalUnderAnEndlessAnswer) {
    Start(0.5);
    ReceiveSearch();
    server_.Send("HTTP/1.1 200 OK\r\n");
    std::atomic<bool> is_done{false};
    std::thread talker([this, &is_done] {
        while (!is_done) {
            server_.Send("more: of it\r\n");
            std::this_thread::sleep_for(milliseconds(1));
        }
    });
    EXPECT_LT(Stop(), milliseconds(1500));
    is_done = true;
    talker.join();
}

TEST_F(SsdpSearchWorker, SendsOnePairAndEndsOnAClosedEngine) {
    vireon_->isClosed = true;
    Start(30);
    worker_->Close();
    ReceiveSearch();
    EXPECT_EQ(server_.Receive(50), "");
}

TEST_F(SsdpSearchWorker, PausesInsteadOfWaitingBelowAMillisecond) {
    Start(0.0005);
    int searches = 0;
    const Clock::time_point start = Clock::now();
    while (Clock::now() - start < milliseconds(1000))
        searches += server_.Receive(10).empty() ? 0 : 1;
    // Two every 150 ms: neither a flood nor silence.
    EXPECT_GE(searches, 4);
    EXPECT_LE(searches, 16);
}

TEST_F(SsdpSearchWorker, WaitsLongForWhatIsNoTimeAndForHugeIntervals) {
    for (const double interval : {0.0, -1.0, -std::numeric_limits<double>::infinity(),
                                  std::numeric_limits<double>::quiet_NaN(), 1e300,
                                  std::numeric_limits<double>::infinity()}) {
        SCOPED_TRACE(interval);
        Start(interval);
        ReceiveSearch();
        EXPECT_EQ(server_.Receive(400), "");
        CloseAndWake();
        worker_->Close();
        vireon_->isClosed = false;
    }
}

TEST_F(SsdpSearchWorker, EndsWhenItsHostHasNoAddress) {
    Start(30, "");
    worker_->Close();
    EXPECT_EQ(server_.Receive(50), "");
}

TEST_F(SsdpSearchWorker, EndsWithoutSocketOrRequest) {
    const NPT_HttpUrl url("127.0.0.1", server_.GetPort(), "*");
    const auto without_socket = std::make_shared<SsdpSearchWorkerThread>(
        vireon_.get(), nullptr, new NPT_HttpRequest(url, "M-SEARCH", "HTTP/1.1"),
        NPT_TimeInterval(1.0));
    const auto without_request = std::make_shared<SsdpSearchWorkerThread>(
        vireon_.get(), new NPT_UdpSocket, nullptr, NPT_TimeInterval(1.0));
    without_socket->Start();
    without_request->Start();
    without_socket->Close();
    without_request->Close();
    EXPECT_EQ(server_.Receive(50), "");
}

TEST_F(SsdpSearchWorker, IsStoppedWithoutAnEngineAndWhenItOutlivesIt) {
    const SsdpSearchWorkerThread orphan(nullptr, nullptr, nullptr, NPT_TimeInterval(1.0));
    EXPECT_TRUE(orphan.IsStopped());
    const SsdpSearchWorkerThread survivor(vireon_.get(), nullptr, nullptr, NPT_TimeInterval(1.0));
    EXPECT_FALSE(survivor.IsStopped());
    vireon_->isClosed = true;
    EXPECT_TRUE(survivor.IsStopped());
    vireon_->Stop();
    vireon_.reset();
    EXPECT_TRUE(survivor.IsStopped());
}

TEST_F(SsdpSearchWorker, MayBeClosedWithoutAThread) {
    SsdpSearchWorkerThread worker(vireon_.get(), nullptr, nullptr, NPT_TimeInterval(1.0));
    worker.Close();
    worker.Close();
}

// A worker on a socket that a test scripts; its work runs on the test's thread or on its own.
class ScriptedSearchWorker : public SsdpSearchWorker {
  protected:
    void Make(double interval = 30) {
        worker_ = std::make_shared<SsdpSearchWorkerThread>(
            vireon_.get(), std::unique_ptr<NPT_UdpSocket>(socket_), MakeRequest(),
            NPT_TimeInterval(interval), waker_);
    }
    static std::unique_ptr<NPT_HttpRequest> MakeRequest() {
        return std::make_unique<NPT_HttpRequest>(NPT_HttpUrl("127.0.0.1", 31288, "*"), "M-SEARCH",
                                                 "HTTP/1.1");
    }
    // What the workers found was queued in order, so this comes behind all of it.
    void WaitForDispatch() {
        Make();
        socket_->LineUp(Answer("end 0"));
        LineUpTheEnd();
        worker_->Run();
        for (int round = 0;
             round < 2000 &&
             script::Evaluate("devices[-1:] and devices[-1]['friendlyName']") != "'end 0'";
             ++round) {
            PyAutoUnlock2 unlocked;
            std::this_thread::sleep_for(milliseconds(5));
        }
        script::Run("devices.pop()");
    }
    Clock::duration Run() {
        const Clock::time_point start = Clock::now();
        worker_->Run();
        return Clock::now() - start;
    }
    void LetTheDispatchThreadWait() const {
        PyAutoUnlock2 unlocked;
        EXPECT_TRUE(BecomesTrue([this] { return watched_calls::event_waits > waits_before_; }));
    }
    // Ends the worker when it comes to receive this.
    void LineUpTheEnd() {
        socket_->LineUp("", [this] { waker_->Wake(); });
    }

    // From a wake during a pause to the worker's end.
    Clock::duration TimeToEndInAPause() {
        socket_ = new ScriptedUdpSocket;
        waker_ = std::make_shared<SocketWaker>();
        Make();
        for (int count = 0; count < 100; ++count)
            socket_->LineUp(NPT_ERROR_NETWORK_DOWN);
        worker_->Start();
        PyAutoUnlock2 unlocked;
        std::this_thread::sleep_for(milliseconds(20));
        const Clock::time_point start = Clock::now();
        waker_->Wake();
        worker_->Close();
        return Clock::now() - start;
    }

    ScriptedUdpSocket* socket_ = new ScriptedUdpSocket;  // the worker's
    std::shared_ptr<SocketWaker> waker_ = std::make_shared<SocketWaker>();
};

TEST_F(ScriptedSearchWorker, EndsAtOnceWhenItIsWoken) {
    Make();
    waker_->Wake();
    EXPECT_LT(Run(), milliseconds(1000));
}

// The quickest of some, since what else the machine does only adds; a whole pause takes longer.
TEST_F(ScriptedSearchWorker, IsWokenFromItsPause) {
    Make();  // takes the first socket
    Clock::duration quickest = TimeToEndInAPause();
    for (int round = 1; round < 5 && quickest >= milliseconds(100); ++round)
        quickest = std::min(quickest, TimeToEndInAPause());
    EXPECT_LT(quickest, milliseconds(100));
}

TEST_F(ScriptedSearchWorker, WakesTheDispatchThreadOnceForAnswersThatArriveTogether) {
    Make();
    LetTheDispatchThreadWait();
    const int before = watched_calls::event_sets;
    int in_the_middle = 0;
    for (int count = 0; count < 20; ++count)
        socket_->LineUp(Answer("Den"));
    socket_->LineUp(Answer("Den"), [&] { in_the_middle = watched_calls::event_sets - before; });
    LineUpTheEnd();
    Run();
    EXPECT_EQ(in_the_middle, 0);
    EXPECT_EQ(watched_calls::event_sets - before, 1);
    WaitForCount(21);
}

TEST_F(ScriptedSearchWorker, WakesTheDispatchThreadInTheMiddleOfAFlood) {
    Make();
    LetTheDispatchThreadWait();
    const int before = watched_calls::event_sets;
    int in_the_middle = 0;
    for (int count = 0; count < 40; ++count)
        socket_->LineUp(Answer("Den"));
    socket_->LineUp(Answer("Den"), [&] { in_the_middle = watched_calls::event_sets - before; });
    LineUpTheEnd();
    Run();
    EXPECT_EQ(in_the_middle, 1);
    WaitForCount(41);
}

TEST_F(ScriptedSearchWorker, WakesTheDispatchThreadBeforeItPauses) {
    Make();
    LetTheDispatchThreadWait();
    Clock::duration since_the_wake{};
    socket_->LineUp(Answer("Den"));
    socket_->LineUp("garbage");
    socket_->LineUp("",
                    [&] { since_the_wake = Clock::now() - watched_calls::last_event_set.load(); });
    LineUpTheEnd();
    Run();
    EXPECT_GE(since_the_wake, milliseconds(140));
}

TEST_F(ScriptedSearchWorker, PausesOnceForBadDatagramsThatArriveTogether) {
    Make();
    for (int count = 0; count < 100; ++count)
        socket_->LineUp("garbage");
    socket_->LineUp(Answer("Den"));
    LineUpTheEnd();
    const Clock::duration elapsed = Run();
    EXPECT_GE(elapsed, milliseconds(140));
    EXPECT_LT(elapsed, milliseconds(1500));
    WaitForNames("['Den']");
}

// On Windows an ICMP message about something that was sent fails the next receive.
TEST_F(ScriptedSearchWorker, CountsAReportOfALostDatagramAsABadOne) {
    Make();
    for (int count = 0; count < 100; ++count)
        socket_->LineUp(NPT_ERROR_CONNECTION_RESET);
    socket_->LineUp(Answer("Den"));
    LineUpTheEnd();
    EXPECT_LT(Run(), milliseconds(1500));
    WaitForNames("['Den']");
}

TEST_F(ScriptedSearchWorker, TakesHalfAMinuteForAnIntervalOfNoTime) {
    Make(0);
    EXPECT_EQ(socket_->GetReadTimeout(), 30000u);
    LineUpTheEnd();
    Run();
}

TEST_F(ScriptedSearchWorker, WaitsTenSecondsForRoomToSendAtMost) {
    Make();
    EXPECT_EQ(socket_->GetWriteTimeout(), 10000u);
    LineUpTheEnd();
    Run();
}

TEST_F(ScriptedSearchWorker, PausesForEachFailureOfTheSocket) {
    Make();
    for (int count = 0; count < 4; ++count)
        socket_->LineUp(NPT_ERROR_NETWORK_DOWN);
    socket_->LineUp(Answer("Den"));
    LineUpTheEnd();
    EXPECT_GE(Run(), milliseconds(590));
    WaitForNames("['Den']");
}

// A flood is answered by work for half of the time at most, whatever it consists of.
TEST_F(ScriptedSearchWorker, PausesAgainWhenTheBadDatagramsGoOn) {
    Make();
    Clock::duration busy{};
    for (int count = 0; count < 1000; ++count) {
        socket_->LineUp("garbage", [&busy] {
            const Clock::time_point start = Clock::now();
            std::this_thread::sleep_for(milliseconds(1));
            busy += Clock::now() - start;
        });
    }
    LineUpTheEnd();
    const Clock::duration elapsed = Run();
    EXPECT_GT(elapsed - busy, busy / 2);
}

TEST_F(ScriptedSearchWorker, DoesNotSpinWhenATimeOutComesBeforeItsTime) {
    Make();
    worker_->Start();
    {
        PyAutoUnlock2 unlocked;
        std::this_thread::sleep_for(milliseconds(500));
    }
    EXPECT_LE(socket_->GetReceiveCount(), 10);
    waker_->Wake();
}

TEST_F(ScriptedSearchWorker, PausesForNoAnswerThatIsNotThereYet) {
    Make();
    for (int count = 0; count < 20; ++count) {
        socket_->LineUp(Answer("Den"));
        socket_->LineUp(NPT_ERROR_WOULD_BLOCK);
    }
    LineUpTheEnd();
    EXPECT_LT(Run(), milliseconds(20 * 100));
}

TEST_F(ScriptedSearchWorker, ClosesItsSocketWhenItsThreadEnds) {
    Make();
    bool is_closed = false;
    socket_->WhenClosed([&is_closed] { is_closed = true; });
    waker_->Wake();
    worker_->Run();
    EXPECT_TRUE(is_closed);
}

// Each allocation of a search with two answers fails once, in a worker of its own.
TEST_F(ScriptedSearchWorker, LosesOneAnswerAtMostToAnAllocationThatFails) {
    constexpr long kMostAllocations = 600;
    std::atomic<long> refused{0};
    std::vector<std::thread> threads;
    for (long nth = 1; nth <= kMostAllocations; ++nth) {
        auto waker = std::make_shared<SocketWaker>();
        auto socket = std::make_unique<ScriptedUdpSocket>();
        socket->LineUp(Answer("first " + std::to_string(nth)));
        socket->LineUp(Answer("last " + std::to_string(nth)));
        socket->LineUp("", [waker] { waker->Wake(); });
        auto worker = std::make_shared<SsdpSearchWorkerThread>(
            vireon_.get(), std::move(socket), MakeRequest(), NPT_TimeInterval(30.0), waker);
        threads.emplace_back([worker, nth, &refused] {
            const FailingAllocation failing(nth);
            worker->Run();
            refused += failing.HasHappened();
        });
    }
    {
        PyAutoUnlock2 unlocked;
        for (std::thread& thread : threads)
            thread.join();
    }
    EXPECT_GT(refused, 50);
    EXPECT_LT(refused, kMostAllocations);
    script::Run("names = lambda: set(device['friendlyName'] for device in devices)");
    WaitForDispatch();
    // One of the two for each, and not more than one lost where an allocation failed.
    EXPECT_EQ(script::Evaluate("len(set(name.split()[1] for name in names()))"),
              std::to_string(kMostAllocations));
    const std::string lost =
        script::Evaluate(std::to_string(2 * kMostAllocations) + " - len(names())");
    EXPECT_GE(std::stol(lost), 1);
    EXPECT_LE(std::stol(lost), refused);
}

}  // namespace
