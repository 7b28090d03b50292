#include <memory>

#include "commands.h"
#include "decimal_expression.h"
#include "library.h"
#include "output.h"

namespace {

struct DecimalArguments {
    std::string expression;
    bool json = false;
};

void showValue(DecimalArguments const &arguments) {
    InitializedLibrary const library;
    DecimalResult const result = evaluateDecimal(arguments.expression);
    std::string const text = allDigits(result.value);
    if (arguments.json)
        printJson(
            {{"expression", arguments.expression}, {"value", text}, {"rounded", result.isRounded}});
    else
        printLine(text + (result.isRounded ? " (rounded)" : ""));
}

}  // namespace

void addDecimalCommand(CLI::App &tool) {
    auto const arguments = std::make_shared<DecimalArguments>();
    CLI::App *const command = tool.add_subcommand(
        "decimal", "Calculate with decimals of 52 digits, telling when a result was rounded");
    command
        ->add_option("EXPR", arguments->expression,
                     "Numbers, + - * / ( ), sqrt(x), round(x, places), floor(x), ceiling(x), "
                     "abs(x), mod(x, y)")
        ->required()
        ->type_name("");
    command->add_flag("--json", arguments->json, "Print JSON, the value as text");
    command->callback([arguments] { showValue(*arguments); });
}
