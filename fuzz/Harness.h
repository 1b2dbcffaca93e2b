// One harness: `tryInput` gets any bytes there are, and may neither crash nor take long nor break a promise.
#pragma once

#include <QByteArray>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

void tryInput(const QByteArray &bytes);

/// Ends the process when a promise is broken.
inline void require(bool holds, const char *promise) {
    if (holds)
        return;
    std::fprintf(stderr, "Broken: %s\n", promise);
    std::abort();
}

extern "C" inline __attribute__((used)) int LLVMFuzzerTestOneInput(const std::uint8_t *data,
                                                                   std::size_t size) {
    // Of a size of its own, so that a read past its end is seen.
    tryInput(QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)));
    return 0;
}
