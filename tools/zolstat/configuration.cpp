// Where options come from besides the command line: the environment and the configuration file.
// Not the place where options are described (command_line.cpp).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "configuration.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "common/text.h"

namespace tools::zolstat {
namespace {

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::string defaultFile() {
    std::filesystem::path folder = environment("XDG_CONFIG_HOME");
    if (folder.empty() && !environment("HOME").empty()) {
        folder = std::filesystem::path(environment("HOME")) / ".config";
    }
    std::error_code failure;
    const std::filesystem::path file = folder / "zolstat.toml";
    return !folder.empty() && std::filesystem::exists(file, failure) ? file.string() : "";
}

// The keys of the file, less those that must not hold against what the command line says.
class ConfigurationFile : public CLI::ConfigTOML {
  public:
    explicit ConfigurationFile(const CLI::App& app) : app_(app) {}

    std::vector<CLI::ConfigItem> from_config(std::istream& input) const override {
        std::vector<CLI::ConfigItem> found = CLI::ConfigBase::from_config(input);
        std::erase_if(found,
                      [&](const CLI::ConfigItem& item) { return item.name == "gateway" && namesGateway(); });
        std::for_each(found.begin(), found.end(), [&](const CLI::ConfigItem& item) { check(item); });
        return found;
    }

  private:
    bool namesGateway() const {
        return app_.count("--gateway") + app_.count("--host") + app_.count("--port") > 0;
    }

    void check(const CLI::ConfigItem& item) const {
        if (item.name == "++" || item.name == "--") {  // those open and close a section
            return;
        }
        const CLI::Option* option = find(item);
        if (option == nullptr) {
            refuse(fmt::format("there is no option '{}'", printable(item.fullname())));
        }
        if (item.inputs.empty()) {
            refuse(fmt::format("there is no value for '{}'", printable(item.fullname())));
        }
        if (item.inputs.size() > 1 && !takesSeveral(*option)) {
            refuse(fmt::format("there is more than one value for '{}'", printable(item.fullname())));
        }
    }

    [[noreturn]] void refuse(const std::string& problem) const {
        throw CLI::ConfigError(fmt::format("{}: {}", app_["--config"]->as<std::string>(), problem));
    }

    const CLI::Option* find(const CLI::ConfigItem& item) const {
        try {
            const CLI::App* owner = &app_;
            for (const std::string& parent : item.parents) {
                owner = owner->get_subcommand(parent);
            }
            return owner->get_option_no_throw("--" + item.name);
        } catch (const CLI::OptionNotFound&) {
            return nullptr;
        }
    }

    static bool takesSeveral(const CLI::Option& option) {
        return option.get_items_expected_max() > 1 ||
               option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
    }

    const CLI::App& app_;
};

std::string variableOf(const std::string& option) {
    std::string name = "ZOLSTAT_" + option;
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char letter) { return letter == '-' ? '_' : static_cast<char>(std::toupper(letter)); });
    return name;
}

// Several Gateways may stand in one variable.
void addGateways(const std::string& value, Words& words) {
    std::istringstream list(value);
    for (std::string gateway; std::getline(list, gateway, ' ');) {
        if (!gateway.empty()) {
            words.push_back("--gateway=" + gateway);
        }
    }
}

const CLI::App* commandCalled(const CLI::App& app, const std::string& name) {
    const auto commands =
        app.get_subcommands([&](const CLI::App* command) { return command->get_name() == name; });
    return commands.empty() ? nullptr : commands.front();
}

// What the environment says and the command line does not.
Words wordsOfEnvironment(const CLI::App& owner, const Words& commandLine) {
    Words words;
    const auto isSetting = [&](const CLI::Option* option) {
        return option != owner.get_help_ptr() && option != owner.get_version_ptr();
    };
    for (const CLI::Option* option : owner.get_options(isSetting)) {
        for (const std::string& name : option->get_lnames()) {
            const std::string value = environment(variableOf(name).c_str());
            if (value.empty() || isGiven(commandLine, name)) {
                continue;
            }
            if (name == "gateway") {
                addGateways(value, words);
            } else {
                words.push_back(fmt::format("--{}={}", name, value));
            }
        }
    }
    return words;
}

// The words of the environment stand in front, those for the command behind its name.
Words withEnvironment(const CLI::App& app, const Words& commandLine) {
    Words words = wordsOfEnvironment(app, commandLine);
    if (isGiven(commandLine, "host") || isGiven(commandLine, "port")) {
        std::erase_if(words, [](const std::string& word) { return word.starts_with("--gateway="); });
    }
    bool isCommandKnown = false;
    for (const std::string& word : commandLine) {
        words.push_back(word);
        const CLI::App* command = isCommandKnown ? nullptr : commandCalled(app, word);
        if (command != nullptr) {
            const Words own = wordsOfEnvironment(*command, commandLine);
            words.insert(words.end(), own.begin(), own.end());
            isCommandKnown = true;
        }
    }
    return words;
}

}  // namespace

bool isGiven(const Words& commandLine, const std::string& option) {
    return std::any_of(commandLine.begin(), commandLine.end(), [&](const std::string& word) {
        return word == "--" + option || word.starts_with("--" + option + '=');
    });
}

std::string sourceOf(const CLI::App& app, const Words& commandLine, const std::string& option) {
    if (isGiven(commandLine, option)) {
        return "";
    }
    const std::string variable = variableOf(option);
    return environment(variable.c_str()).empty() ? app["--config"]->as<std::string>() : variable;
}

void parse(CLI::App& app, const Words& commandLine) {
    const std::string file = defaultFile();
    app.config_formatter(std::make_shared<ConfigurationFile>(app));
    app.set_config("--config", file, "File with further options (default: ~/.config/zolstat.toml)",
                   !file.empty())
        ->type_name("FILE")
        ->option_text("FILE");
    Words words = withEnvironment(app, commandLine);
    std::reverse(words.begin(), words.end());  // as the parser takes them
    app.parse(std::move(words));
}

}  // namespace tools::zolstat
