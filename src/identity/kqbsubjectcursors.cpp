#include "identity/kqbsubjectcursors_internal.h"

#include <iterator>

namespace {

// The text at a place; the one for no place outside the table.
template <std::size_t Count>
char const *at(char const *const (&texts)[Count], int place, char const *none = nullptr) {
    return place >= 0 && place < static_cast<int>(Count) ? texts[place] : none;
}

char const *flag(int value) { return value != 0 ? "true" : "false"; }

constexpr char kInvalidIndex[] = "Invalid index";

}  // namespace

KqbString KqbDomainCursor::getColumnName(int column) {
    return at({"Name", "Description", "PartOfLogin", "CaseSensitive", "UPN"}, column);
}

KqbString KqbDomainCursor::getValue(int column) {
    if (!hasEntry()) return {};
    asDomainEntry const &e = entry();
    return at({e.name, e.description, flag(e.partOfLogin), flag(e.caseSensitive), flag(e.upn)},
              column);
}

KqbString KqbSubjectCursor::getColumnName(int column) {
    return at({"Name", "ID", "Description"}, column);
}

KqbString KqbSubjectCursor::getValue(int column) {
    return at({entry().name, entry().id, entry().description}, column);
}

KqbString KqbGroupCursor::getColumnName(int column) {
    return at({"Name", "ID", "Description", "Depth"}, column);
}

KqbString KqbGroupCursor::getValue(int column) {
    if (column == 3 && hasEntry()) {
        KqbString depth;
        return depth.assign(entries() < 2 ? entry().depth : entry().depth % entries());
    }
    return at({entry().name, entry().id, entry().description}, column);
}

KqbString KqbPmapCursor::getColumnName(int column) {
    return at({"Name", "ID", "Description"}, column);
}

KqbString KqbPmapCursor::getValue(int column) {
    return at({entry().name, entry().id, entry().description}, column);
}

KqbString KqbMemberCursor::getColumnName(int column) {
    return at({"Name", "ID", "IsGroup"}, column);
}

KqbString KqbMemberCursor::getValue(int column) {
    if (!hasEntry()) return {};
    return at({entry().name, entry().id, flag(entry().isGroup)}, column);
}

KqbString KqbServerList::getColumnName(int column) {
    return at({"Server Name", "Server Description", "Server Protocol", "Server Host", "Server Port",
               "Authentication Domain", "Authentication Type", "Server ProxyURL"},
              column, kInvalidIndex);
}

KqbString KqbServerList::getValue(int column) {
    asServerEntry const &e = entry();
    char const *const text =
        at({e.name, e.description, e.protocol, e.host, e.port, e.domain, e.type, e.proxyUrl},
           column, kInvalidIndex);
    return text != nullptr ? text : "";
}
