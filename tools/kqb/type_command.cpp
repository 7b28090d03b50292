#include <memory>

#include "commands.h"
#include "library.h"
#include "output.h"
#include "type_name.h"

namespace {

struct TypeArguments {
    std::string name;
    bool json = false;
};

void showType(TypeArguments const &arguments) {
    InitializedLibrary const library;
    int dateOrder = 0;
    kqbType const type = findType(arguments.name, &dateOrder);
    nlohmann::ordered_json fields = {{"code", static_cast<int>(type)},
                                     {"name", kqbTypeToString(type)}};
    if (type == KqbTypeDate) fields["dateOrder"] = dateOrder;
    if (arguments.json) return printJson(fields);
    for (auto const &[key, value] : fields.items())
        printLine(key + "=" + (value.is_string() ? value.get<std::string>() : value.dump()));
}

}  // namespace

// The name of type 0 is a name like any other; all that are none give type 0 as well.
kqbType findType(std::string const &name, int *dateOrder) {
    kqbType const type = kqbTypeFromString(name.c_str(), dateOrder);
    if (type == KqbTypeUnknown && KqbString(name.c_str()).compare("Unknown", false) != 0)
        throw Failure(kNotFound, "there is no type '" + name + "'");
    return type;
}

void addTypeCommand(CLI::App &tool) {
    auto const arguments = std::make_shared<TypeArguments>();
    CLI::App *const command = tool.add_subcommand(
        "type", "Print the code and first name of a value type and, for dates, the order of parts");
    command->add_option("NAME", arguments->name, "Name of the type, in any letter case")
        ->required()
        ->type_name("");
    command->add_flag("--json", arguments->json, "Print JSON");
    command->callback([arguments] { showType(*arguments); });
}
