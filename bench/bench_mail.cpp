#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/library.h"

namespace {

constexpr std::size_t kSize = 100'000'000;

// A folder with the file to attach.
class Folder {
public:
    Folder() {
        std::string name = (std::filesystem::temp_directory_path() / "kqbbench.XXXXXX").string();
        path_ = mkdtemp(name.data());
        std::string bytes(kSize, '\0');
        unsigned state = 1;
        for (char &byte : bytes)
            byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
        std::ofstream(path("file"), std::ios::binary) << bytes;
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    std::string path(char const *name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

void kqbMail(benchmark::State &state) {
    Folder const folder;
    for (auto _ : state) {
        KqbEmail mail;
        mail.initialize(folder.path("").c_str(), "true %T %B");
        mail.setTo("you@example.com");
        mail.setSubject("load");
        mail.addAttachment(folder.path("file").c_str());
        if (!mail.sendMail()) state.SkipWithError(mail.getErrorMessage().asCstr());
    }
}
BENCHMARK(kqbMail)->Name("mail with 100 MB/kqb")->Unit(benchmark::kMillisecond);

void base64Program(benchmark::State &state) {
    Folder const folder;
    std::string const line = "base64 -w 76 " + folder.path("file") + " >" + folder.path("out");
    for (auto _ : state) {
        if (std::system(line.c_str()) != 0) state.SkipWithError("base64 failed");
        std::filesystem::remove(folder.path("out"));
    }
}
BENCHMARK(base64Program)
    ->Name("mail with 100 MB/base64 -w 76")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

KQB_BENCH_MAIN()
