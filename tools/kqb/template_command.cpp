#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>

#include "commands.h"
#include "kqb/kqbtemplate.h"
#include "library.h"
#include "output.h"

namespace {

using nlohmann::ordered_json;

struct TemplateArguments {
    StartOptions start;
    std::string file;
    std::vector<std::string> values;  // NAME=VALUE
    bool variables = false;
    bool json = false;
};

std::string contentOf(std::string const &path) {
    std::ifstream file(path, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open() || file.bad())
        throw Failure(kLibraryFailure, "'" + path + "' cannot be read");
    if (content.find('\0') != std::string::npos)
        throw Failure(kLibraryFailure, "'" + path + "' holds a NUL, which no text can keep");
    return content;
}

class Values : public KqbTemplateValueCB {
public:
    explicit Values(std::vector<std::string> const &assignments) {
        for (std::string const &assignment : assignments) {
            std::size_t const separator = assignment.find('=');
            values_[assignment.substr(0, separator)] = assignment.substr(separator + 1);
        }
    }

    bool getValue(KqbString const &name, KqbString *value, KqbString *error) override {
        auto const found = values_.find(name.asCstr());
        if (found == values_.end()) {
            error->assign("variable '").append(name).append("' has no value");
            return false;
        }
        value->assign(found->second.c_str());
        return true;
    }

    std::map<std::string, std::string> const &all() const { return values_; }

private:
    std::map<std::string, std::string> values_;
};

struct Release {
    void operator()(KqbTemplate *made) const { made->release(); }
};
using Template = std::unique_ptr<KqbTemplate, Release>;

Template parsed(std::string const &text, Values *values) {
    KqbString error;
    Template made(kqbCreateBasicTemplate(values, &error));
    if (made == nullptr || !made->parse(text.c_str(), &error))
        throw Failure(kLibraryFailure, toText(error));
    return made;
}

struct Variable {
    std::string name;
    bool isBracketed;
};

std::vector<Variable> variablesOf(KqbTemplate *made) {
    std::vector<Variable> all;
    for (int i = 0; i < made->getVariableCount(); ++i) {
        KqbString error;
        bool isBracketed = false;
        std::string const name = toText(made->getVariable(i, &isBracketed, &error));
        if (name.empty()) throw Failure(kLibraryFailure, toText(error));
        all.push_back({name, isBracketed});
    }
    return all;
}

void listVariables(std::vector<Variable> const &variables, bool json) {
    ordered_json list = ordered_json::array();
    for (auto const &[name, isBracketed] : variables) {
        if (json)
            list.push_back({{"name", name}, {"bracketed", isBracketed}});
        else
            printLine(isBracketed ? "[" + name + "]" : "{" + name + "}");
    }
    if (json) printJson(list);
}

// A value for a variable that the template does not have is a slip that should not go unseen.
void checkNames(Values const &values, std::vector<Variable> const &variables) {
    auto unknown = values.all();
    for (Variable const &variable : variables) unknown.erase(variable.name);
    if (!unknown.empty())
        throw Failure(kNotFound, "the template has no variable '" + unknown.begin()->first + "'");
}

void expandTemplate(TemplateArguments const &arguments) {
    StartedLibrary const library(arguments.start);
    Values values(arguments.values);
    Template const made = parsed(contentOf(arguments.file), &values);
    std::vector<Variable> const variables = variablesOf(made.get());
    if (arguments.variables) return listVariables(variables, arguments.json);
    checkNames(values, variables);
    KqbString error;
    KqbString const text = made->expand(&error);
    if (text.isNull()) throw Failure(kLibraryFailure, toText(error));
    std::cout << toText(text);
}

}  // namespace

void addTemplateCommand(CLI::App &tool) {
    auto const arguments = std::make_shared<TemplateArguments>();
    arguments->start.tolerant = true;
    CLI::App *const command =
        tool.add_subcommand("template", "Expand a template file with values for its variables");
    command->add_option("FILE", arguments->file, "The template")->required()->type_name("");
    command->add_option("NAME=VALUE", arguments->values, "Value of a variable; every one needs one")
        ->type_name("")
        ->check(checkAssignment, "");
    command->add_flag("--variables", arguments->variables,
                      "List the variables by name instead, {name} or [name] a line");
    command->add_flag("--json", arguments->json, "List the variables as JSON");
    addStartOptions(*command, arguments->start);
    command->callback([arguments] { expandTemplate(*arguments); });
}
