// Large values: bytes in pages, shared handles, reading in pieces; timing what one does.
#include "kqb/kqbblob.h"

#include <algorithm>
#include <string>

#include "kqb/rtprofiler.h"
#include "running_library.h"

static bool write(KqbBlob &blob) {
    std::string const line = "one line of a report\n";
    for (int i = 0; i < 50000; ++i) {
        if (!blob.append(line.data(), static_cast<long long>(line.size()))) return false;
    }
    return true;
}

// Reads from the start to the end, in pieces; counts the lines, or -1.
static long countLines(KqbBlob &blob) {
    char piece[4096];
    long lines = 0;
    if (!blob.rewind()) return -1;
    for (long long left = blob.size(); left > 0;) {
        // Never more than is left: beyond its end a blob is not guarded.
        long long const count = blob.read(piece, std::min<long long>(left, sizeof piece));
        if (count < 0) return -1;
        lines += std::count(piece, piece + count, '\n');
        left -= count;
    }
    return lines;
}

static void show() {
    RTProfiler profiler;
    KqbBlob report;
    profiler.enter();
    if (!write(report)) return;
    profiler.exit("write");

    KqbBlob same = report;  // another handle on the same bytes
    std::printf("%lld bytes in %ld lines\n", same.size(), countLines(same));
    same.append("and one more\n", 13);
    std::printf("now %lld bytes\n", report.size());

    int milliseconds = 0, count = 0;
    if (profiler.getData("write", &milliseconds, &count)) std::printf("written %d time\n", count);
}

int main(int, char **argv) {
    RunningLibrary const library(argv[0]);
    if (!library.isUp()) return 1;
    show();
    return 0;
}
