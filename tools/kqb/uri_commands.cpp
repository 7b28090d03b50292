#include <functional>
#include <memory>
#include <tuple>
#include <utility>
#include <vector>

#include "commands.h"
#include "kqb/kqdatauri.h"
#include "kqb/kqhadoopuri.h"
#include "kqb/kqreposuri.h"
#include "kqb/kqrzsrefuri.h"
#include "kqb/kquriqueryhandler.h"
#include "kqb/kqworktableuri.h"
#include "library.h"
#include "output.h"
#include "type_name.h"

namespace {

using nlohmann::ordered_json;

struct Release {
    template <class Object>
    void operator()(Object *object) const {
        object->release();
    }
};
using UriOwner = std::unique_ptr<KqURI, Release>;

// Of a work table: name, type, value.
using Column = std::tuple<std::string, std::string, std::string>;

struct Parts {
    std::vector<KqbString> texts;
    std::vector<Column> columns;

    KqbString const &operator[](std::size_t at) const { return texts[at]; }
};

// A row number, or how many rows; -1 where nothing is given.
__int64 rowsOf(KqbString const &text) {
    bool isWrong = false;
    __int64 const rows = text.length() > 0 ? text.asInt64(&isWrong) : -1;
    if (isWrong) throw CLI::ValidationError("'" + toText(text) + "' is not a whole number");
    return rows;
}

KqURI *buildTable(Parts const &parts) {
    KqWorkTableURI *const table =
        getWorkTableURIFromComponents(parts[0], rowsOf(parts[1]), rowsOf(parts[2]));
    UriOwner owner(table);
    for (auto const &[name, type, value] : parts.columns) {
        KqbString error;
        int const code = findType(type, nullptr);
        if (table != nullptr && !table->addColumn(name.c_str(), value.c_str(), code, &error)) {
            throw Failure(kLibraryFailure, toText(error));
        }
    }
    return owner.release();
}

// Kinds and the names of their parts, in the order of the factories' parameters.
struct Kind {
    char const *name;
    char const *help;
    std::vector<char const *> parts;
    KqURI *(*build)(Parts const &parts);
};

std::vector<Kind> const kKinds = {
    {"generic",
     "Build a URI whose scheme chooses its kind",
     {"SCHEME", "HOST", "PATH", "QUERY", "FRAGMENT"},
     [](Parts const &p) { return getFullURI(p[0], p[1], p[2], p[3], p[4]); }},
    {"data",
     "Build a data URI, scheme kqd or kqf",
     {"SCHEME", "LOCATION", "SOURCE", "SOURCETYPE", "SEGMENT1", "SEGMENT2", "SEGMENT3", "LEAF"},
     [](Parts const &p) -> KqURI * {
         return getDataURIFromComponents(p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7]);
     }},
    {"repository",
     "Build a repository URI",
     {"HOST", "PATH", "TYPE"},
     [](Parts const &p) -> KqURI * { return getReposURIFromComponents(p[0], p[1], p[2]); }},
    {"reference",
     "Build a server reference",
     {"HOST", "PATH", "QUERY"},
     [](Parts const &p) -> KqURI * { return getRZSRefURIFromComponents(p[0], p[1], p[2]); }},
    {"hadoop",
     "Build a Hadoop location",
     {"PATH"},
     [](Parts const &p) -> KqURI * { return getHadoopURIFromComponents(p[0]); }},
    {"worktable", "Build a work table URI", {"NAME", "START", "COUNT"}, buildTable},
};

// --- What there is to show ------------------------------------------------------------------------

ordered_json queryPairs(KqURI &uri) {
    std::unique_ptr<KqURIQueryHandler, Release> const query(
        getURIQueryHandler(uri.getQuery(), true));
    if (query == nullptr) throw Failure(kLibraryFailure, "out of memory");
    ordered_json pairs = ordered_json::array();
    KqbString key, value;
    for (int i = 0; query->getPair(i, &key, &value); ++i) {
        pairs.push_back({{"key", toText(key)}, {"value", toText(value)}});
    }
    return pairs;
}

void addTable(KqWorkTableURI &table, ordered_json *shown) {
    *shown = {{"kind", "worktable"}, {"name", toText(table.getName())}};
    __int64 start = 0, count = 0;
    if (table.getRange(&start, &count)) shown->update({{"start", start}, {"count", count}});
    ordered_json columns = ordered_json::array();
    KqbString name, value;
    int type = 0;
    for (int i = 0; table.getColumn(i, &name, &value, &type); ++i) {
        columns.push_back({{"name", toText(name)},
                           {"type", kqbTypeToString(static_cast<kqbType>(type))},
                           {"value", toText(value)}});
    }
    (*shown)["columns"] = columns;
}

void addKind(KqURI &uri, ordered_json *shown) {
    if (KqDataURI *const data = uri.asDataURI()) {
        *shown = {{"kind", "data"},
                  {"location", toText(data->getLocation())},
                  {"source", toText(data->getSource())},
                  {"sourceType", toText(data->getSourceType())},
                  {"segment1", toText(data->getSegment1())},
                  {"segment2", toText(data->getSegment2())},
                  {"segment3", toText(data->getSegment3())},
                  {"leaf", toText(data->getLeaf())}};
    } else if (KqReposURI *const object = uri.asReposURI()) {
        *shown = {{"kind", "repository"},
                  {"type", toText(object->getType())},
                  {"leaf", toText(object->getLeafName())},
                  {"isFolder", object->isFolder()},
                  {"hostless", toText(object->getHostlessURIString())}};
    } else if (auto *const reference = dynamic_cast<KqRZSRefURI *>(&uri)) {
        *shown = {{"kind", "reference"},
                  {"objectType", toText(reference->getObjectType())},
                  {"serviceType", toText(reference->getServiceType())},
                  {"leaf", toText(reference->getLeafName())},
                  {"hostless", toText(reference->getHostlessURIString())}};
    } else if (auto *const location = dynamic_cast<KqHadoopURI *>(&uri)) {
        *shown = {{"kind", "hadoop"}, {"leaf", toText(location->getLeafName())}};
    } else if (auto *const table = dynamic_cast<KqWorkTableURI *>(&uri)) {
        addTable(*table, shown);
    } else {
        *shown = {{"kind", "generic"}};
    }
}

ordered_json describe(KqURI &uri) {
    ordered_json shown;
    addKind(uri, &shown);
    KqbString nativePath;
    if (!getNativePath(&uri, &nativePath)) throw Failure(kLibraryFailure, "out of memory");
    shown.update({{"scheme", toText(uri.getScheme())},
                  {"host", toText(uri.getHost())},
                  {"path", toText(uri.getPath())},
                  {"query", toText(uri.getQuery())},
                  {"fragment", toText(uri.getFragment())},
                  {"pairs", queryPairs(uri)},
                  {"text", toText(uri.getURIString())},
                  {"escaped", toText(uri.getEscapedURIString())},
                  {"nativePath", toText(nativePath)}});
    return shown;
}

// A pair of a query, or a column.
void printItem(ordered_json const &item) {
    bool const isColumn = item.contains("type");
    std::string const label = isColumn ? "column: " + item["type"].get<std::string>() + " " +
                                             item["name"].get<std::string>()
                                       : "pair: " + item["key"].get<std::string>();
    printLine(label + "=" + item["value"].get<std::string>());
}

void printDescription(ordered_json const &shown) {
    for (auto const &[name, value] : shown.items()) {
        if (value.is_string()) printLine(name + ": " + value.get<std::string>());
        if (value.is_boolean()) printLine(name + ": " + (value.get<bool>() ? "yes" : "no"));
        if (value.is_number()) printLine(name + ": " + value.dump());
        if (!value.is_array()) continue;
        for (ordered_json const &item : value) printItem(item);
    }
}

void show(UriOwner const &uri, bool json, char const *failure) {
    if (uri == nullptr) throw Failure(kLibraryFailure, failure);
    ordered_json const shown = describe(*uri);
    if (json) {
        printJson(shown);
    } else {
        printDescription(shown);
    }
}

// --- Commands -------------------------------------------------------------------------------------

void addBuildCommand(CLI::App &build, Kind const &kind) {
    struct Arguments {
        std::vector<std::string> parts;
        std::vector<Column> columns;
        bool json = false;
    };
    auto const arguments = std::make_shared<Arguments>();
    arguments->parts.resize(kind.parts.size());
    CLI::App *const command = build.add_subcommand(kind.name, kind.help);
    for (std::size_t i = 0; i < kind.parts.size(); ++i) {
        command->add_option(kind.parts[i], arguments->parts[i])->type_name("");
    }
    if (kind.build == buildTable) {
        command->add_option("--column", arguments->columns, "Add a column; may be given repeatedly")
            ->type_name("NAME TYPE VALUE");
    }
    command->add_flag("--json", arguments->json, "Print JSON");
    command->callback([arguments, make = kind.build] {
        InitializedLibrary const library;
        Parts parts{{}, arguments->columns};
        for (std::string const &part : arguments->parts) parts.texts.emplace_back(part.c_str());
        show(UriOwner(make(parts)), arguments->json, "out of memory");
    });
}

void addTextCommand(CLI::App &uri, char const *name, char const *help,
                    std::function<bool(KqbString const &, std::string &, KqbString *)> change) {
    struct Arguments {
        std::string text, specials = " ?#";
    };
    auto const arguments = std::make_shared<Arguments>();
    CLI::App *const command = uri.add_subcommand(name, help);
    command->add_option("TEXT", arguments->text, "The text")->required()->type_name("");
    if (std::string(name) == "escape") {
        command
            ->add_option("--specials", arguments->specials,
                         "The ASCII characters to escape, besides all others that are not ASCII")
            ->type_name("CHARACTERS")
            ->capture_default_str();
    }
    command->callback([arguments, change] {
        InitializedLibrary const library;
        KqbString out;
        if (!change(arguments->text.c_str(), arguments->specials, &out))
            throw Failure(kLibraryFailure, "the text is not well-formed UTF-8");
        printLine(toText(out));
    });
}

void addShowing(CLI::App &command) {
    struct Arguments {
        std::string text;
        bool json = false;
    };
    auto const arguments = std::make_shared<Arguments>();
    command.add_option("TEXT", arguments->text, "The URI")->type_name("");
    command.add_flag("--json", arguments->json, "Print JSON");
    command.callback([arguments, &command] {
        if (!command.get_subcommands().empty()) return;
        if (command.count("TEXT") == 0) throw CLI::RequiredError("TEXT");
        InitializedLibrary const library;
        std::string const failure = "'" + arguments->text + "' is not a URI";
        show(UriOwner(getURIFromURIString(arguments->text.c_str())), arguments->json,
             failure.c_str());
    });
}

}  // namespace

void addUriCommands(CLI::App &tool) {
    CLI::App *const uri = tool.add_subcommand(
        "uri", "Take a URI apart: its kind, components, texts, query pairs and native path");
    addShowing(*uri);
    uri->require_subcommand(0, 1);
    CLI::App *const build = uri->add_subcommand("build", "Build a URI from its components");
    build->require_subcommand(1);
    for (Kind const &kind : kKinds) addBuildCommand(*build, kind);
    addTextCommand(*uri, "escape", "Percent-escape a component",
                   [](KqbString const &text, std::string &specials, KqbString *out) {
                       return getEscapeStringForURI(text, specials.data(),
                                                    static_cast<__int64>(specials.size()), out,
                                                    nullptr);
                   });
    addTextCommand(*uri, "unescape", "Undo percent-escapes",
                   [](KqbString const &text, std::string &, KqbString *out) {
                       return getUnEscapeStringFromURI(text, out);
                   });
}
