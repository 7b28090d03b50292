// The pages of blobs after plain rules: which page comes next, and what the page file holds.
#pragma once

#include <cstring>
#include <deque>
#include <map>
#include <string>
#include <vector>

// Free lists are lists here, not links; the links are only written, as the format wants them.
class PageModel {
public:
    PageModel(unsigned pageSize, int memoryPages)
        : size_(pageSize), memory_(memoryPages), inMemory_(static_cast<std::size_t>(memoryPages)) {
        for (int id = 1; id <= memoryPages; ++id) freeMemory.push_back(id);
        for (auto &page : inMemory_) page.assign(size_ + 8, '\0');
    }

    long long acquire(bool memoryAllowed, long long previous) {
        bool const useMemory = memoryAllowed && !freeMemory.empty();
        auto &list = useMemory ? freeMemory : freeFile;
        if (list.empty()) {
            list.push_back(memory_ + 1 + static_cast<long long>(file.size()));
            file.append(size_ + 8, '\0');
        }
        long long const id = list.front();
        if (useMemory && list.size() > 1) setLink(id, 0);
        list.pop_front();
        if (previous != 0) setLink(previous, id);
        return id;
    }

    void write(long long id, unsigned offset, std::string const &bytes) {
        std::memcpy(record(id) + offset, bytes.data(), bytes.size());
    }

    void free(std::vector<long long> const &chain) {
        std::vector<long long> run;
        for (std::size_t i = 0; i < chain.size(); ++i) {
            bool const isLast = i + 1 == chain.size();
            if (!run.empty() && isMemory(run[0]) != isMemory(chain[i]) && !isLast) {
                append(run);
                run.clear();
            }
            run.push_back(chain[i]);
        }
        append(run);
    }

    std::string file;
    std::deque<long long> freeMemory, freeFile;
    std::size_t brokenRules = 0;  // runs put behind a page of the other kind

private:
    bool isMemory(long long id) const { return id <= memory_; }
    char *record(long long id) {
        return isMemory(id) ? inMemory_[static_cast<std::size_t>(id - 1)].data()
                            : &file[static_cast<std::size_t>(id - memory_ - 1)];
    }
    void setLink(long long id, long long next) { std::memcpy(record(id) + size_, &next, 8); }

    void append(std::vector<long long> const &run) {
        if (run.empty()) return;
        auto &list = isMemory(run[0]) ? freeMemory : freeFile;
        if (!list.empty()) {
            brokenRules += isMemory(list.back()) != isMemory(run[0]);
            setLink(list.back(), run[0]);
        }
        list.insert(list.end(), run.begin(), run.end());
    }

    unsigned size_;
    int memory_;
    std::vector<std::string> inMemory_;
};
