// Data URIs: splitting, deriving host and path, composing.
#include "uri/kqdatauri_internal.h"

#include <array>
#include <span>

#include "platform/kqschr.h"

namespace {

using std::string_view;

enum class Scheme { kSource, kFile, kOther };

Scheme schemeOf(KqbString const &scheme) {
    string_view const text = KqbStringAccess::view(scheme);
    return text == "kqd" ? Scheme::kSource : text == "kqf" ? Scheme::kFile : Scheme::kOther;
}

// --- Splitting ------------------------------------------------------------------------------------

// A place in a path as its rules count it: -1 where there is none.
using Place = std::ptrdiff_t;

Place placeOf(std::size_t found) { return static_cast<Place>(found); }
static_assert(static_cast<Place>(string_view::npos) == -1);

// Cuts a path at its slashes; the pieces' rules are in the header. What stands in ill-formed text
// in front of the next character belongs to the piece.
class PathCutter {
public:
    explicit PathCutter(string_view path)
        : path_(path), first_(placeOf(path.find('/'))), last_(placeOf(path.rfind('/'))) {}

    Place first() const { return first_; }
    Place last() const { return last_; }
    Place second() const { return placeOf(path_.find('/', first_ > 0 ? after(first_) : 1)); }

    // Where there is no second slash the search begins at character 2, so it may find the first.
    Place third(Place second) const {
        if (second != -1) return placeOf(path_.find('/', after(second)));
        char const *const start = np_uchar_seek_n(path_.data(), path_.size(), 2);
        if (start == nullptr) return -1;
        return placeOf(path_.find('/', static_cast<std::size_t>(start - path_.data())));
    }

    void takeFirst(KqbString *piece) const {
        if (first_ > 0) *piece = kqbUnescaped(path_.substr(0, static_cast<std::size_t>(first_)));
    }
    void takeBetween(Place from, Place to, KqbString *piece) const {
        if (to - from <= 1) return;
        *piece = kqbUnescaped(path_.substr(after(from), static_cast<std::size_t>(to - from - 1)));
    }
    void takeLeaf(KqbString *piece) const { takeBetween(last_, placeOf(path_.size()), piece); }

private:
    static std::size_t after(Place place) { return static_cast<std::size_t>(place + 1); }

    string_view path_;
    Place first_;
    Place last_;
};

void cutSourcePath(string_view path, KqDataComponents *parts) {
    PathCutter const cut(path);
    Place const second = cut.second();
    cut.takeFirst(&parts->segment1);
    cut.takeBetween(cut.first(), second, &parts->segment2);
    cut.takeBetween(second, cut.last(), &parts->segment3);
    cut.takeLeaf(&parts->leaf);
}

void cutFilePath(string_view path, KqDataComponents *parts) {
    PathCutter const cut(path);
    Place const second = cut.second();
    Place const third = cut.third(second);
    cut.takeFirst(&parts->source);
    cut.takeBetween(cut.first(), second, &parts->segment1);
    cut.takeBetween(second, third, &parts->segment2);
    cut.takeBetween(third, cut.last(), &parts->segment3);
    cut.takeLeaf(&parts->leaf);
}

// An authority "name.type"; false when it is a name alone.
bool cutAuthority(string_view host, KqbString *name, KqbString *type) {
    std::size_t const dot = host.find('.');
    bool const hasType = dot != string_view::npos && dot > 0;
    *name = kqbUnescaped(hasType ? host.substr(0, dot) : host);
    if (hasType) *type = kqbStringOf(host.substr(dot + 1));
    return hasType;
}

void splitSource(KqURIFields const &fields, KqDataComponents *parts) {
    constexpr unsigned kShortPath = 3;
    parts->location = KqbString("", true);
    if (!cutAuthority(KqbStringAccess::view(fields.host), &parts->source, &parts->sourceType)) {
        parts->sourceType = KqbString("ODBC", true);
    }
    if (fields.path.length() > kShortPath) {
        cutSourcePath(KqbStringAccess::view(fields.path), parts);
    }
}

void splitFile(KqURIFields const &fields, KqDataComponents *parts) {
    constexpr unsigned kShortPath = 4;
    if (!cutAuthority(KqbStringAccess::view(fields.host), &parts->location, &parts->sourceType)) {
        parts->sourceType = KqbString("", true);
    }
    if (fields.path.length() > kShortPath) cutFilePath(KqbStringAccess::view(fields.path), parts);
}

// Sets those of the parts that the text has. False when it is no data URI, with only the scheme
// set. Throws std::bad_alloc.
bool split(KqbString const &text, KqbString *scheme, KqDataComponents *parts) {
    KqURIFields fields;
    fields.parse(text);
    *scheme = fields.scheme;
    Scheme const kind = schemeOf(fields.scheme);
    if (kind == Scheme::kSource) splitSource(fields, parts);
    if (kind == Scheme::kFile) splitFile(fields, parts);
    return kind != Scheme::kOther;
}

// --- Composing ------------------------------------------------------------------------------------

using Segments = std::span<KqbString const *const>;

// The components to be written, as they are or escaped.
class Writer {
public:
    Writer(KqURIText &text, bool isEscaped) : text_(text), isEscaped_(isEscaped) {}

    void write(KqbString const &component) {
        if (isEscaped_) {
            kqbAddComponent(text_, component, kKqURIMultiByteOnly);
        } else {
            text_.add(component);
        }
    }

    // Every segment with its slash, those behind the last that is not empty left out, down to
    // fewest; or all, and the leaf.
    void writePath(Segments segments, std::size_t fewest, KqbString const &leaf) {
        std::size_t count = segments.size();
        if (kqbIsAbsent(leaf)) {
            while (count > fewest && kqbIsAbsent(*segments[count - 1])) --count;
        }
        for (KqbString const *segment : segments.first(count)) {
            write(*segment);
            text_.add('/');
        }
        write(leaf);
    }

private:
    KqURIText &text_;
    bool isEscaped_;
};

void writeFile(KqURIText &text, KqDataComponents const &parts, bool isEscaped) {
    Writer writer(text, isEscaped);
    bool const hasLocation = !kqbIsAbsent(parts.location);
    text.add("kqf://");
    if (hasLocation) text.add(parts.location).add('.').add(parts.sourceType);
    text.add('/');
    KqbString const *const segments[] = {&parts.source, &parts.segment1, &parts.segment2,
                                         &parts.segment3};
    writer.writePath(segments, hasLocation ? 0 : 1, parts.leaf);
}

void writeSource(KqURIText &text, KqDataComponents const &parts, bool isEscaped) {
    Writer writer(text, isEscaped);
    bool const hasSource = !kqbIsAbsent(parts.source);
    text.add("kqd://");
    if (hasSource) {
        writer.write(parts.source);
        text.add('.').add(parts.sourceType);
    }
    text.add('/');
    if (!hasSource && !kqbIsAbsent(parts.leaf)) {
        // Programs compare with this text, so it stays: a stray "%", and the leaf not written.
        KqbString const stray("%", true);
        KqbString const *const segments[] = {&parts.segment1, &stray, &parts.segment2};
        writer.writePath(segments, std::size(segments), KqbString());
        writer.write(parts.segment3);
        return;
    }
    KqbString const *const segments[] = {&parts.segment1, &parts.segment2, &parts.segment3};
    writer.writePath(segments, 0, parts.leaf);
}

void write(KqURIText &text, KqbString const &scheme, KqDataComponents const &parts,
           bool isEscaped) {
    Scheme const kind = schemeOf(scheme);
    if (kind == Scheme::kSource) writeSource(text, parts, isEscaped);
    if (kind == Scheme::kFile) writeFile(text, parts, isEscaped);
}

}  // namespace

// --- The object -----------------------------------------------------------------------------------

void KqDataURIImpl::parse(KqbString const &text) {
    if (!split(text, &fields_.scheme, &parts_)) return;
    fields_.text = text;
    deriveHost();
    derivePath();
}

void KqDataURIImpl::assign(KqbString const &scheme, KqDataComponents const &components) {
    fields_.scheme = scheme;
    parts_ = components;
}

void KqDataURIImpl::deriveHost() {
    Scheme const kind = schemeOf(fields_.scheme);
    if (!kqbIsAbsent(fields_.host) || kind == Scheme::kOther) return;
    bool const isSource = kind == Scheme::kSource;
    KqbString const &name = isSource ? parts_.source : parts_.location;
    if (kqbIsAbsent(isSource ? parts_.sourceType : parts_.location)) {
        fields_.host = name;
        return;
    }
    KqURIText text;
    fields_.host = text.add(name).add('.').add(parts_.sourceType).take();
}

void KqDataURIImpl::derivePath() {
    Scheme const kind = schemeOf(fields_.scheme);
    if (!kqbIsAbsent(fields_.path) || kind == Scheme::kOther) return;
    KqURIText text;
    if (kind == Scheme::kFile) text.add(parts_.source).add('/');
    text.add(parts_.segment1).add('/').add(parts_.segment2).add('/').add(parts_.segment3).add('/');
    fields_.path = text.take();
}

KqbString KqDataURIImpl::getHost() {
    kqbWithMemory([this] { deriveHost(); });
    return fields_.host;
}

KqbString KqDataURIImpl::getPath() {
    kqbWithMemory([this] { derivePath(); });
    return fields_.path;
}

void KqDataURIImpl::writeText(KqURIText &text) { write(text, fields_.scheme, parts_, false); }

void KqDataURIImpl::writeEscaped(KqURIText &text) { write(text, fields_.scheme, parts_, true); }

// --- Functions ------------------------------------------------------------------------------------

bool getDataURIComponentsFromString(KqbString const &text, KqbString *scheme, KqbString *source,
                                    KqbString *sourceType, KqbString *segment1, KqbString *segment2,
                                    KqbString *segment3, KqbString *leaf, KqbString *location) {
    std::array<KqbString *, 7> const outputs = {source,   sourceType, segment1, segment2,
                                                segment3, leaf,       location};
    if (scheme == nullptr) return false;
    for (KqbString const *output : outputs) {
        if (output == nullptr) return false;
    }
    KqbString foundScheme;
    KqDataComponents found{*source, *sourceType, *segment1, *segment2, *segment3, *leaf, *location};
    bool isData = false;
    if (!kqbWithMemory([&] { isData = split(text, &foundScheme, &found); })) return false;
    KqbString const *const values[] = {&found.source,   &found.sourceType, &found.segment1,
                                       &found.segment2, &found.segment3,   &found.leaf,
                                       &found.location};
    *scheme = foundScheme;
    for (std::size_t i = 0; i < outputs.size(); ++i) *outputs[i] = *values[i];
    return isData;
}

KqDataURI *getDataURIFromComponents(KqbString const &scheme, KqbString const &location,
                                    KqbString const &source, KqbString const &sourceType,
                                    KqbString const &segment1, KqbString const &segment2,
                                    KqbString const &segment3, KqbString const &leaf) {
    return kqbMakeURI<KqDataURIImpl>([&](KqDataURIImpl &uri) {
        uri.assign(scheme, {kqbUnescaped(source), kqbUnescaped(sourceType), kqbUnescaped(segment1),
                            kqbUnescaped(segment2), kqbUnescaped(segment3), kqbUnescaped(leaf),
                            kqbUnescaped(location)});
    });
}
