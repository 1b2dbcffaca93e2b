// The upload of 10 MiB to a service that is far away, in turn with curl.
#include "Figures.h"

#include "packaging/UploadAPI.h"
#include "platform/posix/FileSystem.h"
#include "support_service/SupportService.h"
#include "test_support/Isolation.h"

#include <arpa/inet.h>
#include <atomic>
#include <cstring>
#include <deque>
#include <future>
#include <linux/if_tun.h>
#include <net/if.h>
#include <poll.h>
#include <random>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr char farAddress[] = "192.0.2.2";

// A network of this machine alone. What is sent to the far address comes back half a round trip later as if
// it came from there: so the far machine is this one, at the end of a long line that takes as much as it is
// given.
class LongLine {
public:
    LongLine()
        : m_interface(::open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC)) {
        struct ifreq request {};
        std::strcpy(request.ifr_name, "far0");
        const platform::FileDescriptor control(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        const auto ask = [&](int descriptor, unsigned long what) {
            require(::ioctl(descriptor, what, &request) == 0, "the long line cannot be made");
        };
        request.ifr_flags = IFF_TUN | IFF_NO_PI;
        ask(m_interface.get(), TUNSETIFF);
        request.ifr_qlen = 100'000;
        ask(control.get(), SIOCSIFTXQLEN);
        auto *const address = reinterpret_cast<struct sockaddr_in *>(&request.ifr_addr);
        address->sin_family = AF_INET;
        ::inet_pton(AF_INET, "192.0.2.1", &address->sin_addr);
        ask(control.get(), SIOCSIFADDR);
        ::inet_pton(AF_INET, farAddress, &address->sin_addr);
        ask(control.get(), SIOCSIFDSTADDR);
        request.ifr_flags = IFF_UP | IFF_RUNNING;
        ask(control.get(), SIOCSIFFLAGS);
        m_thread = std::thread([this] { carry(); });
    }
    ~LongLine() {
        m_isOver = true;
        m_thread.join();
    }
    LongLine(const LongLine &) = delete;
    LongLine &operator=(const LongLine &) = delete;

    std::atomic<std::chrono::milliseconds> roundTrip{};

private:
    void carry() {
        std::deque<std::pair<Clock::time_point, std::string>> packets;
        std::string packet(65'536, '\0');
        while (!m_isOver) {
            const auto now = Clock::now();
            for (; !packets.empty() && packets.front().first <= now; packets.pop_front())
                (void)!::write(m_interface.get(), packets.front().second.data(),
                               packets.front().second.size());
            const auto due = packets.empty() ? now + std::chrono::milliseconds(100) : packets.front().first;
            const auto wait = std::max<std::int64_t>(0, std::chrono::nanoseconds(due - now).count());
            const struct timespec limit = {wait / 1'000'000'000, wait % 1'000'000'000};
            struct pollfd arrival = {m_interface.get(), POLLIN, 0};
            ::ppoll(&arrival, 1, &limit, nullptr);
            for (ssize_t size = 0; (size = ::read(m_interface.get(), packet.data(), packet.size())) > 0;) {
                // The addresses change places, which leaves every checksum as it is.
                std::swap_ranges(packet.data() + 12, packet.data() + 16, packet.data() + 16);
                packets.emplace_back(Clock::now() + roundTrip.load() / 2,
                                     packet.substr(0, static_cast<std::size_t>(size)));
            }
        }
    }

    const platform::FileDescriptor m_interface;
    std::atomic<bool> m_isOver = false;
    std::thread m_thread;
};

void upload(const std::filesystem::path &archive, const std::string &url) {
    UploadRequest request = UploadAPI::multipartRequest(archive);
    request.url = QByteArray::fromStdString(url);
    std::promise<UploadResponse> finished;
    UploadTask task(
        std::move(request), [](auto...) {}, [&](const auto &response) { finished.set_value(response); });
    task.resume();
    const UploadResponse response = finished.get_future().get();
    require(response.statusCode == 200,
            response.error ? response.error->userInfoDescription.toStdString() : "the upload failed");
}

} // namespace

int main() {
    test_support::forgetTheMachinesSettings();
    require(test_support::canEnter(test_support::enterLoopbackNetwork), "a network of its own is needed");
    test_support::enterLoopbackNetwork();
    LongLine line;
    support_service::SupportService service({.reach = test_support::Reach::network});
    const test_support::ScratchFolder scratch;
    const auto archive = scratch.path() / "archive.zip";
    QByteArray content(qsizetype{amount(10)} << 20, Qt::Uninitialized);
    std::mt19937_64 random(1);
    std::ranges::generate(content, [&] { return static_cast<char>(random() & 0xFFU); });
    test_support::writeFile(archive, content);
    ::setenv("SSL_CERT_FILE", service.certificateFile().c_str(), 1);
    const std::string url = "https://" + std::string(farAddress) + ":" + std::to_string(service.port()) +
                            std::string(support_service::SupportService::uploadPath);
    const auto curl = [&] {
        runProgram({.program = "/usr/bin/curl",
                    .arguments = {"-q", "-s", "-f", "--http1.1", "--cacert", service.certificateFile(), "-H",
                                  "Expect:", "-F", "file=@" + archive.native(), "-o", "/dev/null", url}});
    };
    for (const int milliseconds : {100, 300}) {
        line.roundTrip = std::chrono::milliseconds(milliseconds);
        const auto seconds = inTurn(
            7, {[&] { return secondsOf([&] { upload(archive, url); }); }, [&] { return secondsOf(curl); }});
        const std::string away = " of 10 MiB, " + std::to_string(milliseconds) + " ms away";
        print("upload" + away, median(seconds[0]), "s");
        print("curl" + away, median(seconds[1]), "s");
        print("the one to the other, median", medianRatio(seconds), "times", 1.1);
    }
}
