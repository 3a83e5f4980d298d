// SPDX-License-Identifier: BSD-3-Clause
#include "apps/HelpFormatter.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <cstddef>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace TEVRA::apps {

namespace {

constexpr std::size_t COLUMNS = 80;
constexpr std::size_t NAME_COLUMNS = 30;

/// Breaks lines at blanks so that none is longer than `width`, if its words allow; breaks in the text stay.
std::string wrapped(const std::string& text, std::size_t width) {
    std::istringstream lines(text);
    std::string result;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::size_t used = 0;
        result += result.empty() ? "" : "\n";
        for (std::string word; words >> word;) {
            const bool fits = used == 0 || used + 1 + word.size() <= width;
            result += used == 0 ? "" : fits ? " " : "\n";
            used = fits && used != 0 ? used + 1 + word.size() : word.size();
            result += word;
        }
    }
    return result;
}

/// All lines but the first begin with blanks.
std::string indented(const std::string& text, std::size_t blanks) {
    std::string result;
    for (const char c : text) {
        result += c;
        if (c == '\n') {
            result.append(blanks, ' ');
        }
    }
    return result;
}

class CHelpFormatter : public CLI::Formatter {
  public:
    CHelpFormatter() {
        column_width(NAME_COLUMNS);
        label("Positionals", "Arguments");
        label("Subcommands", "Commands");
    }

    std::string make_description(const CLI::App* app) const override {
        return wrapped(app->get_description(), COLUMNS) + "\n\n";
    }

    std::string make_usage(const CLI::App* app, std::string name) const override {
        const std::string label = "Usage: ";
        std::string usage = label + name;
        for (const CLI::Option* option : app->get_options()) {
            if (option->get_positional()) {
                usage += " " + option->get_name(true);
            } else if (option->get_required()) {
                usage += " " + option->get_name() + " " + option->get_type_name();
            }
        }
        const bool hasCommands = !app->get_subcommands({}).empty();
        usage += hasCommands ? " COMMAND ..." : " [OPTIONS]";
        return indented(wrapped(usage, COLUMNS - label.size()), label.size()) + "\n";
    }

    std::string make_subcommand(const CLI::App* command) const override {
        std::ostringstream out;
        CLI::detail::format_help(out, command->get_name(), described(command->get_description()),
                                 NAME_COLUMNS);
        return out.str();
    }

    /// The base class ends the first group with a blank line, and begins every one with another.
    std::string make_group(std::string group, bool isPositional,
                           std::vector<const CLI::Option*> options) const override {
        const bool isFirst = isPositional || group == "Options";
        return CLI::Formatter::make_group(std::move(group), isPositional, std::move(options))
            .substr(isFirst ? 0 : 1);
    }

    std::string make_option_opts(const CLI::Option* option) const override {
        const bool takesValue = option->get_type_size() != 0 && option->nonpositional();
        return takesValue ? " " + option->get_type_name() : "";
    }

    std::string make_option_desc(const CLI::Option* option) const override {
        return described(option->get_description());
    }

    std::string make_footer(const CLI::App* app) const override {
        const std::string footer = app->get_footer();
        return footer.empty() ? "" : wrapped(footer, COLUMNS) + "\n";
    }

  private:
    static std::string described(const std::string& text) { return wrapped(text, COLUMNS - NAME_COLUMNS); }
};

} // namespace

std::shared_ptr<CLI::FormatterBase> NewHelpFormatter() {
    return std::make_shared<CHelpFormatter>();
}

} // namespace TEVRA::apps
