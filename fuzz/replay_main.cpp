// Runs a fuzz target over every file of the folders given, and over every prefix of the small ones.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const *data, std::size_t size);

int main(int argc, char **argv) {
    constexpr std::size_t kSmall = 300;
    int files = 0;
    for (int i = 1; i < argc; ++i) {
        for (auto const &entry : std::filesystem::directory_iterator(argv[i])) {
            std::ifstream file(entry.path(), std::ios::binary);
            std::vector<char> const content((std::istreambuf_iterator<char>(file)), {});
            // Copies of exact size, so that the address sanitizer sees a read past the end.
            for (std::size_t n = content.size() <= kSmall ? 0 : content.size(); n <= content.size();
                 ++n) {
                std::vector<std::uint8_t> const piece(
                    content.begin(), content.begin() + static_cast<std::ptrdiff_t>(n));
                LLVMFuzzerTestOneInput(piece.data(), piece.size());
            }
            ++files;
        }
    }
    std::printf("%d files replayed\n", files);
    return files > 0 ? 0 : 1;
}
