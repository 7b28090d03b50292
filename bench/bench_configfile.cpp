#include <Poco/Util/PropertyFileConfiguration.h>
#include <fcntl.h>
#include <glib.h>
#include <unistd.h>

#include <QSettings>
#include <QString>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/library.h"

namespace {

std::string gFolder;

// Entries "SECTION/KEY_n = value n" with a comment for three in ten.
std::string makeFile(int entries, bool section) {
    std::string const path = gFolder + "/" + std::to_string(entries) + (section ? ".ini" : ".cfg");
    std::ofstream file(path);
    if (section) file << "[main]\n";
    for (int i = 0; i < entries; ++i) {
        if (i % 10 < 3) file << "# what option number " << i << " is good for\n";
        file << "BASE/Option_" << (i * 7919) % entries << "=some value of number " << i << "\n";
    }
    return path;
}

void kqbRead(benchmark::State &state, std::string const &path) {
    KqbString const name(path.c_str());
    for (auto _ : state) {
        KqbConfigFile file;
        if (!file.read(name)) state.SkipWithError("read");
        benchmark::DoNotOptimize(file.getEntryCount());
    }
}

void kqbWrite(benchmark::State &state, std::string const &path) {
    KqbConfigFile file;
    file.read(path.c_str());
    KqbString const target((path + ".out").c_str());
    for (auto _ : state) {
        if (!file.write(target)) state.SkipWithError("write");
    }
}

void glibRead(benchmark::State &state, std::string const &path) {
    for (auto _ : state) {
        GKeyFile *const file = g_key_file_new();
        if (!g_key_file_load_from_file(file, path.c_str(), G_KEY_FILE_KEEP_COMMENTS, nullptr)) {
            state.SkipWithError("read");
        }
        g_key_file_free(file);
    }
}

void glibWrite(benchmark::State &state, std::string const &path) {
    GKeyFile *const file = g_key_file_new();
    g_key_file_load_from_file(file, path.c_str(), G_KEY_FILE_KEEP_COMMENTS, nullptr);
    std::string const target = path + ".out";
    for (auto _ : state) {
        if (!g_key_file_save_to_file(file, target.c_str(), nullptr)) state.SkipWithError("write");
    }
    g_key_file_free(file);
}

// What any safe way of replacing a file costs: the bytes, handed to the disk twice over.
void bareWrite(benchmark::State &state, std::string const &path) {
    std::ifstream file(path);
    std::string const text{std::istreambuf_iterator<char>(file), {}};
    std::string const target = path + ".out";
    std::string const fresh = path + ".new";
    for (auto _ : state) {
        int const out = open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        int const folder = open(gFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        bool const done =
            write(out, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
            fsync(out) == 0 && rename(fresh.c_str(), target.c_str()) == 0 && fsync(folder) == 0;
        if (!done) state.SkipWithError("write");
        close(out);
        close(folder);
    }
}

void qtRead(benchmark::State &state, std::string const &path) {
    for (auto _ : state) {
        // A name of its own each time: settings of one file are shared and cached.
        static int number = 0;
        std::string const copy = path + "." + std::to_string(++number);
        std::filesystem::create_hard_link(path, copy);
        {
            QSettings settings(QString::fromStdString(copy), QSettings::IniFormat);
            benchmark::DoNotOptimize(settings.contains("main/none"));
        }
        std::filesystem::remove(copy);
    }
}

void pocoRead(benchmark::State &state, std::string const &path) {
    for (auto _ : state) {
        Poco::AutoPtr<Poco::Util::PropertyFileConfiguration> file(
            new Poco::Util::PropertyFileConfiguration(path));
        benchmark::DoNotOptimize(file->hasProperty("none"));
    }
}

void pocoWrite(benchmark::State &state, std::string const &path) {
    Poco::AutoPtr<Poco::Util::PropertyFileConfiguration> file(
        new Poco::Util::PropertyFileConfiguration(path));
    for (auto _ : state) file->save(path + ".out");
}

template <class Function>
void row(std::string const &name, Function function, std::string const &path) {
    benchmark::RegisterBenchmark(name.c_str(), function, path)->Unit(benchmark::kMicrosecond);
}

}  // namespace

int main(int argc, char **argv) {
    Library const library;
    std::string name = (std::filesystem::temp_directory_path() / "kqbbench.XXXXXX").string();
    gFolder = mkdtemp(name.data());
    std::string const flat = makeFile(10000, false);
    std::string const sectioned = makeFile(10000, true);
    row("configuration file: read 10,000/kqb", kqbRead, flat);
    row("configuration file: read 10,000/GKeyFile", glibRead, sectioned);
    row("configuration file: read 10,000/QSettings", qtRead, sectioned);
    row("configuration file: read 10,000/POCO", pocoRead, flat);
    row("configuration file: write 10,000/kqb", kqbWrite, flat);
    row("configuration file: write 10,000/GKeyFile", glibWrite, sectioned);
    row("configuration file: write 10,000/POCO", pocoWrite, flat);
    row("configuration file: write 10,000/bare calls", bareWrite, flat);
    for (int entries : {10, 1000, 100000}) {
        row("growth: configuration read/" + std::to_string(entries), kqbRead,
            makeFile(entries, false));
        row("growth: configuration write/" + std::to_string(entries), kqbWrite,
            makeFile(entries, false));
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::remove_all(gFolder);
    return 0;
}
