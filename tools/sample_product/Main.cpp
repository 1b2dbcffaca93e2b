// Makes a sample product below a home folder, and runs it when asked to.
#include "RunningProduct.h"
#include "SampleProduct.h"

#include <charconv>
#include <csignal>
#include <cstring>
#include <getopt.h>
#include <iostream>
#include <stdexcept>

using namespace sample_product;

namespace {

constexpr const char *usage =
    "Usage: sample_product --home FOLDER [OPTION...]\n"
    "Makes an installed document product with logs, crash reports and preferences.\n\n"
    "  --home FOLDER             the home folder to make it in\n"
    "  --edition NAME            lumadoc or pellix (lumadoc)\n"
    "  --version TEXT            its version; the first digit of the last piece tells the track:\n"
    "                            0 Trunk, 1 Beta, 2 QZ (10.003.20112)\n"
    "  --bundle PATH             where the bundle goes (Applications/<edition>.app in the home folder)\n"
    "  --desktop-entry           adds a desktop entry for it\n"
    "  --log-bytes COUNT         size of its log folder (400000)\n"
    "  --log-files COUNT         files in its log folder (14)\n"
    "  --message-bytes COUNT     size of its message folder (40000)\n"
    "  --crash-reports COUNT     crash reports of it (3)\n"
    "  --crash-report-bytes COUNT  size of each (20000)\n"
    "  --incompressible          fills the log folder with bytes that cannot be compressed\n"
    "  --seed NUMBER             other text for another number (1)\n"
    "  --binary-preferences      preferences as binary property lists, not XML\n"
    "  --no-preferences          no preferences\n"
    "  --luma-logging            preferences that already hold a logging switch\n"
    "  --bundle-only             the bundle alone: no logs, no preferences\n"
    "  --run                     runs it, prints its process id and stays until SIGTERM or SIGINT\n"
    "  --help                    prints this\n";

/// What was wrong with the command line.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Request {
    std::filesystem::path home;
    SampleProductOptions product;
    bool bundleOnly = false;
    bool run = false;
    bool help = false;
};

std::uint64_t number(const std::string &option, const std::string &text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        throw UsageError("--" + option + " takes a whole number, not \"" + text + "\"");
    return value;
}

Edition edition(const std::string &text) {
    if (text != "lumadoc" && text != "pellix")
        throw UsageError("--edition takes lumadoc or pellix, not \"" + text + "\"");
    return text == "lumadoc" ? Edition::lumadoc : Edition::pellix;
}

void apply(Request &request, const std::string &name, const std::string &value) {
    SampleProductOptions &product = request.product;
    if (name == "home")
        request.home = value;
    else if (name == "edition")
        product.edition = edition(value);
    else if (name == "version")
        product.version = value;
    else if (name == "bundle")
        product.bundle = value;
    else if (name == "desktop-entry")
        product.desktopEntry = true;
    else if (name == "log-bytes")
        product.logBytes = number(name, value);
    else if (name == "log-files")
        product.logFiles = number(name, value);
    else if (name == "message-bytes")
        product.messageBytes = number(name, value);
    else if (name == "crash-reports")
        product.crashReports = number(name, value);
    else if (name == "crash-report-bytes")
        product.crashReportBytes = number(name, value);
    else if (name == "incompressible")
        product.incompressible = true;
    else if (name == "seed")
        product.seed = number(name, value);
    else if (name == "binary-preferences")
        product.preferences = Preferences::binary;
    else if (name == "no-preferences")
        product.preferences = Preferences::none;
    else if (name == "luma-logging")
        product.lumaLogging = true;
    else if (name == "bundle-only")
        request.bundleOnly = true;
    else if (name == "run")
        request.run = true;
    else
        request.help = true;
}

Request parse(int count, char **arguments) {
    const option options[] = {
        {"home", required_argument, nullptr, 0},
        {"edition", required_argument, nullptr, 0},
        {"version", required_argument, nullptr, 0},
        {"bundle", required_argument, nullptr, 0},
        {"desktop-entry", no_argument, nullptr, 0},
        {"log-bytes", required_argument, nullptr, 0},
        {"log-files", required_argument, nullptr, 0},
        {"message-bytes", required_argument, nullptr, 0},
        {"crash-reports", required_argument, nullptr, 0},
        {"crash-report-bytes", required_argument, nullptr, 0},
        {"incompressible", no_argument, nullptr, 0},
        {"seed", required_argument, nullptr, 0},
        {"binary-preferences", no_argument, nullptr, 0},
        {"no-preferences", no_argument, nullptr, 0},
        {"luma-logging", no_argument, nullptr, 0},
        {"bundle-only", no_argument, nullptr, 0},
        {"run", no_argument, nullptr, 0},
        {"help", no_argument, nullptr, 0},
        {nullptr, 0, nullptr, 0},
    };
    opterr = 0;
    Request request;
    int index = 0;
    for (int found = 0; (found = getopt_long(count, arguments, ":", options, &index)) != -1;) {
        if (found == ':')
            throw UsageError(std::string(arguments[optind - 1]) + " needs a value");
        if (found != 0)
            throw UsageError(std::string("unknown option ") + arguments[optind - 1]);
        apply(request, options[index].name, optarg == nullptr ? "" : optarg);
    }
    if (optind < count)
        throw UsageError(std::string("unexpected argument ") + arguments[optind]);
    if (!request.help && request.home.empty())
        throw UsageError("--home is missing");
    return request;
}

/// Runs the product until a signal asks this program to end, or the product ends by itself.
int runUntilSignal(const SampleProduct &product) {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD})
        sigaddset(&signals, signal);
    sigprocmask(SIG_BLOCK, &signals, nullptr);

    RunningProduct running(product.executable);
    std::cout << "process: " << running.processId() << std::endl;
    int received = 0;
    do
        sigwait(&signals, &received);
    while (received == SIGCHLD && running.isRunning());
    if (received != SIGCHLD)
        return 0;
    std::cerr << "sample_product: the product has ended\n";
    return 1;
}

int run(const Request &request) {
    if (request.help) {
        std::cout << usage;
        return 0;
    }
    // The product's own paths hold in every folder.
    const auto home = std::filesystem::absolute(request.home);
    SampleProductOptions options = request.product;
    if (!options.bundle.empty())
        options.bundle = std::filesystem::absolute(options.bundle);
    const SampleProduct product =
        request.bundleOnly ? makeSampleBundle(home, options) : makeSampleProduct(home, options);
    std::cout << "bundle: " << product.bundle.string() << "\ntrack: " << product.track << std::endl;
    return request.run ? runUntilSignal(product) : 0;
}

} // namespace

int main(int count, char **arguments) {
    try {
        return run(parse(count, arguments));
    } catch (const UsageError &error) {
        std::cerr << "sample_product: " << error.what() << " (see --help)\n";
        return 2;
    } catch (const std::exception &error) {
        std::cerr << "sample_product: " << error.what() << '\n';
        return 1;
    }
}
