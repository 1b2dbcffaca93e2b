// 200 uploads at once to the documented support side: the program's upload client, a process each, in turn
// with curl sending the same bytes.
#include "Figures.h"

#include "packaging/UploadAPI.h"
#include "platform/posix/FileSystem.h"
#include "test_support/Isolation.h"
#include "test_support/SupportEndpoint.h"

#include <QUuid>
#include <algorithm>
#include <deque>
#include <fcntl.h>
#include <future>
#include <random>
#include <regex>
#include <sys/file.h>

namespace {

namespace fs = std::filesystem;
using test_support::ProgramOptions;

const int clients = amount(200);
constexpr qsizetype archiveBytes = qsizetype{2} << 20;

// One client, as this program starts itself. It holds the connection in the middle of the body until the gate
// is open.
int upload(const fs::path &archive, const std::string &url, const fs::path &gate) {
    UploadRequest request = UploadAPI::multipartRequest(archive);
    request.url = QByteArray::fromStdString(url);
    std::promise<UploadResponse> finished;
    UploadTask task(
        std::move(request),
        [&](auto...) {
            const platform::FileDescriptor lock(::open(gate.c_str(), O_RDONLY | O_CLOEXEC));
            ::flock(lock.get(), LOCK_SH);
        },
        [&](const auto &response) { finished.set_value(response); });
    task.resume();
    return finished.get_future().get().statusCode == 200 ? 0 : 1;
}

class Bench {
public:
    Bench() {
        QByteArray content(archiveBytes, Qt::Uninitialized);
        std::mt19937_64 random(1);
        std::ranges::generate(content, [&] { return static_cast<char>(random() & 0xFFU); });
        for (int client = 0; client < clients; ++client) {
            const std::string id = QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString();
            m_archives.push_back(m_folder.path() / ("lumaMacLog_" + id + "_cef.zip"));
            test_support::writeFile(m_archives.back(), content);
            const UploadRequest request = UploadAPI::multipartRequest(m_archives.back().filename());
            m_contentTypes.push_back("Content-Type: " + request.contentType.toStdString());
            test_support::writeFile(m_archives.back().native() + ".body",
                                    request.head + content + request.tail);
        }
        test_support::writeFile(m_gate, "");
    }

    double byProgram() {
        return secondsOfAll([this](std::size_t client) {
            return ProgramOptions{.program = fs::read_symlink("/proc/self/exe"),
                                  .arguments = {m_archives[client], url(), m_gate}};
        });
    }
    double byCurl() {
        const std::string script = "(head -c 65536 \"$0\"; flock -s '" + m_gate.native() +
                                   "' true; tail -c +65537 \"$0\") | curl -q -s -f --http1.1 --cacert '" +
                                   m_endpoint.certificateFile().native() +
                                   "' -o /dev/null -X POST -T - -H Expect: -H Transfer-Encoding: -H \"$1\" "
                                   "-H \"Content-Length: $(stat -c %s \"$0\")\" " +
                                   url();
        return secondsOfAll([&](std::size_t client) {
            return ProgramOptions{
                .program = "/bin/sh",
                .arguments = {"-c", script, m_archives[client].native() + ".body", m_contentTypes[client]}};
        });
    }

    // Of all requests so far.
    int mostConnections() const {
        const std::string log = test_support::readFile(m_endpoint.log()).toStdString();
        const std::regex count(" ([0-9]+) connections\n");
        int most = 0;
        for (std::sregex_iterator match(log.begin(), log.end(), count), end; match != end; ++match)
            most = std::max(most, std::stoi(match->str(1)));
        return most;
    }

private:
    std::string url() const { return "https://" + m_endpoint.host() + "/cr-apip-7.0.0/mac/log"; }

    // From the moment when all have begun and may go on; looks at what was stored.
    template <typename Command>
    double secondsOfAll(Command command) {
        for (const auto &stored : fs::directory_iterator(m_endpoint.archives()))
            fs::remove_all(stored);
        platform::FileDescriptor gate(::open(m_gate.c_str(), O_RDWR | O_CLOEXEC));
        ::flock(gate.get(), LOCK_EX);
        std::deque<test_support::ProgramRun> runs;
        for (std::size_t client = 0; client < m_archives.size(); ++client)
            runs.emplace_back(command(client));
        const auto waiting = [] {
            const std::string locks = test_support::readFile("/proc/locks").toStdString();
            const std::regex blocked("-> FLOCK");
            return std::distance(std::sregex_iterator(locks.begin(), locks.end(), blocked), {}) >= clients;
        };
        require(test_support::waitUntil(waiting), "the clients did not get ready");
        const double seconds = secondsOf([&] {
            ::flock(gate.get(), LOCK_UN);
            for (auto &run : runs)
                require(run.waitForEnd(std::chrono::minutes(5)) == test_support::exited(0),
                        "an upload failed");
        });
        const fs::directory_iterator stored(m_endpoint.archives());
        require(std::distance(begin(stored), end(stored)) == clients, "an archive is missing");
        return seconds;
    }

    const test_support::ScratchFolder m_folder;
    const test_support::SupportEndpoint m_endpoint;
    const test_support::ScopedEnvironment m_trust{"SSL_CERT_FILE", m_endpoint.certificateFile().native()};
    const fs::path m_gate = m_folder.path() / "gate";
    std::vector<fs::path> m_archives;
    std::vector<std::string> m_contentTypes;
};

} // namespace

int main(int count, char **arguments) {
    if (count == 4)
        return upload(arguments[1], arguments[2], arguments[3]);
    test_support::forgetTheMachinesSettings();
    require(test_support::canEnter(test_support::enterLoopbackNetwork), "a network of its own is needed");
    test_support::enterLoopbackNetwork();
    Bench bench;
    const auto seconds = inTurn(5, {[&] { return bench.byProgram(); }, [&] { return bench.byCurl(); }});
    print("200 uploads of 2 MiB at once", median(seconds[0]), "s");
    print("curl for the same", median(seconds[1]), "s");
    print("the one to the other, median", medianRatio(seconds), "times");
    print("most connections at a time", bench.mostConnections(), "");
}
