// A configuration file by its rules alone, line number by line number: slow and plain.
#pragma once

#include <algorithm>
#include <cctype>
#include <map>
#include <string>
#include <vector>

class ConfigFileModel {
public:
    struct Entry {
        std::string key;  // as first written
        std::string value;
        std::string comment;
        int line = -1;
        bool hasCommentLine = false;  // in the file, at line; the entry's own line is the next
    };

    void read(std::string const &text) {
        std::string pending;
        for (std::string const &raw : split(text)) {
            std::string const line = trim(raw);
            ++lineNumber_;
            std::size_t const equals = line.find('=');
            if (line.starts_with("#")) {
                lines_[lineNumber_] = {false, {line}};
                pending = replaceAll(line.substr(1), "\\n", "\n");
                continue;
            }
            if (equals == std::string::npos) {
                lines_[lineNumber_] = {false, {line}};
            } else {
                readEntry(trim(line.substr(0, equals)), trim(line.substr(equals + 1)), pending);
            }
            pending.clear();
        }
    }

    std::string write() const {
        std::string out;
        for (auto const &[number, line] : lines_) {
            if (line.isEntry) {
                out += entryText(line.texts[0], entries.at(fold(line.texts[0])));
                continue;
            }
            for (std::string const &text : line.texts) out += text + "\n";
        }
        for (auto const &[folded, key] : added_) {
            auto const entry = entries.find(folded);
            if (entry != entries.end()) out += "\n" + entryText(key, entry->second);
        }
        return out;
    }

    void set(std::string const &key, std::string const &value) {
        auto const [place, isNew] =
            entries.try_emplace(fold(key), Entry{key, value, "", -1, false});
        place->second.value = value;
        if (isNew) added_.try_emplace(fold(key), key);
    }

    void setComment(std::string const &key, std::string const &comment) {
        auto const place = entries.find(fold(key));
        if (place != entries.end()) place->second.comment = comment;
    }

    void remove(std::string const &key) {
        auto const place = entries.find(fold(key));
        if (place == entries.end()) return;
        if (place->second.line >= 1) {
            bury(place->second, "#-DELETED " + key);
        } else {
            added_.erase(fold(key));
        }
        entries.erase(place);
    }

    void clear() {
        lines_.clear();
        entries.clear();
    }

    std::map<std::string, Entry> entries;  // by folded key

private:
    struct Line {
        bool isEntry = false;
        std::vector<std::string> texts;  // an entry's key, or the lines to write
    };

    static std::string fold(std::string text) {
        std::transform(text.begin(), text.end(), text.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        return text;
    }

    static std::vector<std::string> split(std::string const &text) {
        std::vector<std::string> lines;
        for (std::size_t begin = 0; begin < text.size();) {
            std::size_t const end = std::min(text.find('\n', begin), text.size());
            lines.push_back(text.substr(begin, end - begin));
            begin = end + 1;
        }
        return lines;
    }

    static std::string trim(std::string const &text) {
        std::size_t const begin = text.find_first_not_of(" \t");
        if (begin == std::string::npos) return "";
        return text.substr(begin, text.find_last_not_of(" \t") + 1 - begin);
    }

    static std::string replaceAll(std::string text, std::string const &from,
                                  std::string const &to) {
        for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
            text.replace(at, from.size(), to);
        }
        return text;
    }

    static std::string entryText(std::string const &key, Entry const &entry) {
        std::string const comment =
            replaceAll(replaceAll(entry.comment, "\r\n", "\\n"), "\n", "\\n");
        return (comment.empty() ? "" : "#" + comment + "\n") + key + "=" + entry.value + "\n";
    }

    // Leaves an entry's lines behind as plain text, without touching another line.
    void bury(Entry const &entry, std::string const &keyText) {
        std::string const text = keyText + "=" + entry.value;
        std::string const comment = "#" + entry.comment;
        if (entry.comment.empty()) {
            lines_[entry.line] = {false, {text}};
        } else if (entry.hasCommentLine) {
            lines_[entry.line] = {false, {comment}};
            lines_[entry.line + 1] = {false, {text}};
        } else {
            lines_[entry.line] = {false, {comment, text}};
        }
    }

    void readEntry(std::string const &key, std::string const &value, std::string const &comment) {
        int const number = comment.empty() ? lineNumber_ : lineNumber_ - 1;
        lines_[number] = {true, {key}};
        auto const [place, isNew] = entries.try_emplace(fold(key), Entry{key, "", "", -1, false});
        if (!isNew) bury(place->second, key);
        place->second = {place->second.key, value, comment, number, !comment.empty()};
    }

    int lineNumber_ = 0;
    std::map<int, Line> lines_;
    std::map<std::string, std::string> added_;  // by folded key
};
