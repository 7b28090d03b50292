// What all kinds of URI have in common, and the generic kind.
#pragma once

#include <new>

#include "kqb/kquri.h"
#include "uri/kquriescape_internal.h"
#include "uri/kquriparts_internal.h"
#include "uri/kquriquerylist_internal.h"

// The first operations of a kind, for a class Impl that implements Interface. Impl says whether its
// query allows duplicates and writes its texts; whatever it leaves out here it overrides:
//   static constexpr bool kAllowDuplicates;
//   void writeText(KqURIText &text);
//   void writeEscaped(KqURIText &text);
// Its virtual destructor is its last operation, behind those of the interface.
template <class Impl, class Interface>
class KqURIBase : public Interface {
public:
    void release() override { delete static_cast<Impl *>(this); }
    KqbString getScheme() override { return fields_.scheme; }
    KqbString getHost() override { return fields_.host; }
    KqbString getPath() override { return fields_.path; }
    KqbString getQuery() override { return fields_.query; }
    KqbString getFragment() override { return fields_.fragment; }

    KqbString getURIString() override {
        if (kqbIsAbsent(fields_.text)) {
            fields_.text = composed([this](KqURIText &text) { impl().writeText(text); });
        }
        return fields_.text;
    }
    KqbString getEscapedURIString() override {
        return composed([this](KqURIText &text) { impl().writeEscaped(text); });
    }

    KqReposURI *asReposURI() override { return nullptr; }
    KqDataURI *asDataURI() override { return nullptr; }

    bool addQueryValue(KqbString const &key, KqbString const &value, KqbString *error) override {
        return kqbAddQueryValue(fields_.query, Impl::kAllowDuplicates, key, value, error);
    }

protected:
    // The text that write(text) writes; null when memory ran out.
    template <class Write>
    static KqbString composed(Write const &write) {
        KqbString result;
        kqbWithMemory([&] {
            KqURIText text;
            write(text);
            result = text.take();
        });
        return result;
    }

    // The leaf of a path; null when memory ran out.
    static KqbString leafOf(KqbString const &path) {
        KqbString leaf;
        kqbWithMemory([&] { leaf = kqbStringOf(kqbLeafOfPath(KqbStringAccess::view(path))); });
        return leaf;
    }

    KqURIFields fields_;

private:
    Impl &impl() { return static_cast<Impl &>(*this); }
};

// A new object that fill(object) fills; null when memory ran out.
template <class Impl, class Fill>
Impl *kqbMakeURI(Fill const &fill) {
    Impl *const uri = new (std::nothrow) Impl;
    if (uri == nullptr) {
        kqbNoteMemoryFailure();
    } else if (!kqbWithMemory([&] { fill(*uri); })) {
        uri->release();
        return nullptr;
    }
    return uri;
}

// Adds a mark and a component, if there is one.
inline void kqbAddMarked(KqURIText &text, char mark, KqbString const &component,
                         KqURIEscapes const &escapes) {
    if (kqbIsAbsent(component)) return;
    text.add(mark);
    kqbAddComponent(text, component, escapes);
}

// The generic kind.
class KqURIImpl : public KqURIBase<KqURIImpl, KqURI> {
public:
    static constexpr bool kAllowDuplicates = true;

    void parse(KqbString const &text) { fields_.parse(text); }
    // The components as given; a path with "/" for every "\".
    void assign(KqbString const &scheme, KqbString const &host, KqbString const &path,
                KqbString const &query, KqbString const &fragment);

    void writeText(KqURIText &text);
    void writeEscaped(KqURIText &text);

    virtual ~KqURIImpl() = default;

private:
    void writeAuthority(KqURIText &text);
};
