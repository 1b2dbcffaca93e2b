// What every harness is linked with. Without libFuzzer, which brings its own main, the program gives each
// file of the folder that it is started with to the harness once.
#include "test_support/ScratchHome.h"

#include <cstdio>
#include <sys/uio.h>

extern "C" {

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

// In the place of the system log, which would be flooded.
int sd_journal_sendv(const struct iovec *, int) {
    return 0;
}
}

#ifdef REPLAY
int main(int argumentCount, char **arguments) {
    int count = 0;
    for (const auto &entry : std::filesystem::directory_iterator(argumentCount > 1 ? arguments[1] : ".")) {
        std::fprintf(stderr, "%s\n", entry.path().c_str());
        const QByteArray bytes = test_support::readFile(entry.path());
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()),
                               static_cast<std::size_t>(bytes.size()));
        ++count;
    }
    std::printf("%d files\n", count);
    return count > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
#endif
