// Makes a sample product below a home folder, and runs it when asked to.
#include "RunningProduct.h"
#include "SampleProduct.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <iostream>
#include <thread>

using namespace sample_product;

namespace {

/// Until a signal ends this process, and the product with it.
int runProduct(const SampleProduct &product) {
    RunningProduct running(product.executable);
    std::cout << "process: " << running.processId() << std::endl;
    while (running.isRunning())
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    std::cerr << "sample_product: the product has ended\n";
    return 1;
}

int run(const QStringList &arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Makes an installed document product with logs, crash reports and preferences."));
    parser.addHelpOption();
    const QCommandLineOption home(QStringLiteral("home"), QStringLiteral("The home folder to make it in."),
                                  QStringLiteral("folder"));
    const QCommandLineOption runs(QStringLiteral("run"),
                                  QStringLiteral("Runs it, prints its process id and stays until it ends."));
    parser.addOptions({home, runs});
    parser.process(arguments);
    if (!parser.isSet(home))
        parser.showHelp(2);

    // The product's paths must be valid in every folder.
    const auto product = makeSampleProduct(std::filesystem::absolute(parser.value(home).toStdString()));
    std::cout << "bundle: " << product.bundle.string() << "\ntrack: " << product.track << std::endl;
    return parser.isSet(runs) ? runProduct(product) : 0;
}

} // namespace

int main(int count, char **arguments) {
    const QCoreApplication application(count, arguments);
    try {
        return run(QCoreApplication::arguments());
    } catch (const std::exception &error) {
        std::cerr << "sample_product: " << error.what() << '\n';
        return 1;
    }
}
