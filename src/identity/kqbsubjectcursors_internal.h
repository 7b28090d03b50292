// The cursors over the lists of the authentication toolkit.
#pragma once

#include "kqb/kqbstringcursor.h"
#include "platform/librzmx.h"

// What they share: a list, which is theirs, and the entry that they are on.
template <class List, class Entry, int (*Count)(List const *),
          int (*Fetch)(List const *, int, Entry *), char const *(*Message)(List const *),
          void (*Destroy)(List *)>
class KqbToolkitCursor : public KqbStringCursor {
public:
    using Handle = List;
    static constexpr auto countOf = Count;
    static constexpr auto messageOf = Message;
    static constexpr auto destroy = Destroy;

    // Takes over a list whose count is 0 or more.
    explicit KqbToolkitCursor(List *list) : list_(list), count_(Count(list)) {}

    bool isReady() override { return false; }
    KqbString getErrorMessage() override { return Message(list_); }
    bool getRowCount(__int64 *rows) override {
        if (rows != nullptr) *rows = count_;
        return true;
    }
    int next() override {
        entry_ = {};
        if (index_ < count_) ++index_;
        if (index_ == count_) return KqbCursorEnd;
        return Fetch(list_, index_, &entry_) == 0 ? KqbCursorRow : KqbCursorFailure;
    }
    void release() override { delete this; }
    bool rewind() override {
        index_ = -1;
        entry_ = {};
        return true;
    }

protected:
    virtual ~KqbToolkitCursor() { Destroy(list_); }

    // All absent in front of the first entry and behind the last.
    Entry const &entry() const { return entry_; }
    bool hasEntry() const { return index_ >= 0 && index_ < count_; }
    int entries() const { return count_; }

private:
    List *list_;
    int count_;
    int index_ = -1;
    Entry entry_{};
};

class KqbDomainCursor final
    : public KqbToolkitCursor<asDomains, asDomainEntry, asDomainsGetCount, asDomainsGetEntry,
                              asDomainsGetErrorMessage, asDomainsDestroy> {
public:
    using KqbToolkitCursor::KqbToolkitCursor;
    KqbString getColumnName(int column) override;
    int getColumnCount() override { return 5; }
    KqbString getValue(int column) override;
};

class KqbSubjectCursor final
    : public KqbToolkitCursor<asSubjects, asSubjectEntry, asSubjectsGetCount, asSubjectsGetEntry,
                              asSubjectsGetErrorMessage, asSubjectsDestroy> {
public:
    using KqbToolkitCursor::KqbToolkitCursor;
    KqbString getColumnName(int column) override;
    int getColumnCount() override { return 3; }
    KqbString getValue(int column) override;
};

class KqbGroupCursor final
    : public KqbToolkitCursor<asGroups, asGroupEntry, asGroupsGetCount, asGroupsGetEntry,
                              asGroupsGetErrorMessage, asGroupsDestroy> {
public:
    using KqbToolkitCursor::KqbToolkitCursor;
    KqbString getColumnName(int column) override;
    int getColumnCount() override { return 4; }
    KqbString getValue(int column) override;
};

class KqbPmapCursor final
    : public KqbToolkitCursor<asPmaps, asPmapEntry, asPmapsGetCount, asPmapsGetEntry,
                              asPmapsGetErrorMessage, asPmapsDestroy> {
public:
    using KqbToolkitCursor::KqbToolkitCursor;
    KqbString getColumnName(int column) override;
    int getColumnCount() override { return 3; }
    KqbString getValue(int column) override;
};

class KqbMemberCursor final
    : public KqbToolkitCursor<asMembers, asMemberEntry, asMembersGetCount, asMembersGetEntry,
                              asMembersGetErrorMessage, asMembersDestroy> {
public:
    using KqbToolkitCursor::KqbToolkitCursor;
    KqbString getColumnName(int column) override;
    int getColumnCount() override { return 3; }
    KqbString getValue(int column) override;
};

// Names eight columns and counts seven: copies leave the last out.
class KqbServerList final
    : public KqbToolkitCursor<asServers, asServerEntry, asServersGetCount, asServersGetEntry,
                              asServersGetErrorMessage, asServersDestroy> {
public:
    using KqbToolkitCursor::KqbToolkitCursor;
    bool isReady() override { return true; }
    KqbString getColumnName(int column) override;
    int getColumnCount() override { return 7; }
    KqbString getValue(int column) override;
};
