// A folder of its own for one test, deleted with everything in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "kqbtest.XXXXXX").string();
        path_ = mkdtemp(name.data());
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(TemporaryFolder const &) = delete;
    TemporaryFolder &operator=(TemporaryFolder const &) = delete;

    std::string const &path() const { return path_; }
    std::string path(std::string_view name) const { return path_ + "/" + std::string(name); }

    // Writes a file, making the folders on the way; returns its path.
    std::string write(std::string_view name, std::string_view content) const {
        std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
        std::ofstream(path(name), std::ios::binary)
            .write(content.data(), static_cast<std::streamsize>(content.size()));
        return path(name);
    }

    // The content of a file; empty when there is none.
    std::string read(std::string_view name) const {
        std::ostringstream content;
        content << std::ifstream(path(name), std::ios::binary).rdbuf();
        return content.str();
    }

private:
    std::string path_;
};
