#include "Options.h"

#include "util/Utf8.h"

#include <algorithm>
#include <iterator>
#include <optional>

namespace steward::tools {

namespace {

using std::string;
using std::string_view;

const OptionForm* FindOption(const ToolForm& tool, string_view name) {
    const auto found = std::find_if(tool.options.begin(), tool.options.end(),
                                    [&](const OptionForm& option) { return name == option.name; });
    return found == tool.options.end() ? nullptr : &*found;
}

const CommandForm* FindCommand(const ToolForm& tool, const std::wstring& word) {
    const string name = Utf8FromWide(word);
    const auto found = std::find_if(tool.commands.begin(), tool.commands.end(),
                                    [&](const CommandForm& command) { return name == command.name; });
    return found == tool.commands.end() ? nullptr : &*found;
}

bool Takes(const CommandForm& command, const OptionForm& option) {
    if (option.commands == nullptr) {
        return true;
    }
    return (' ' + string(option.commands) + ' ').find(' ' + string(command.name) + ' ') != string::npos;
}

bool AsksForHelp(const std::wstring& argument) {
    return argument == L"--help" || argument == L"-h" || argument == L"/?" || argument == L"-?";
}

bool LooksLikeOption(const std::wstring& argument) {
    return argument.size() > 1 && argument[0] == L'-';
}

// Takes one command line apart. Names are matched in UTF-8, values stay as they were typed.
class Reader {
  public:
    Reader(const ToolForm& tool, const std::vector<std::wstring>& arguments)
        : tool_(tool), arguments_(arguments) {}

    ReadLine Read() {
        CheckQuotes();
        ReadLine line = TakeApart();
        if (line.kind == ReadLine::Kind::Run) {
            CheckRun(line);
        }
        return line;
    }

  private:
    [[noreturn]] void Refuse(const string& what) const { RefuseUsage(tool_, command_, what); }

    // "C:\folder\" hands the closing quote, and all that follows it, over as part of the argument.
    void CheckQuotes() const {
        for (const std::wstring& argument : arguments_) {
            if (argument.find(L'"') != std::wstring::npos) {
                Refuse(
                    "an argument contains a double quote: a backslash before a closing quote has swallowed "
                    "what follows; leave that backslash out");
            }
        }
    }

    ReadLine TakeApart() {
        const auto end = std::find(arguments_.begin(), arguments_.end(), L"--");
        ReadLine line;
        const bool help = std::any_of(arguments_.begin(), end, AsksForHelp);
        for (next_ = arguments_.begin(); next_ != end;) {
            const std::wstring& argument = *next_++;
            if (argument == L"--version") {
                line.kind = ReadLine::Kind::Version;
            } else if (help) {
                words_.push_back(argument);
            } else if (LooksLikeOption(argument)) {
                TakeOption(argument, end, line);
            } else {
                words_.push_back(argument);
                command_ = FindCommand(tool_, words_.front());
            }
        }
        if (end != arguments_.end()) {
            words_.insert(words_.end(), std::next(end), arguments_.end());
        }
        if (help || (!words_.empty() && words_.front() == L"help")) {
            return HelpLine(help);
        }
        return line;
    }

    // With an option for help, whatever else is on the line; otherwise "help", "help <command>".
    ReadLine HelpLine(bool byOption) {
        ReadLine line;
        line.kind = ReadLine::Kind::Help;
        for (const std::wstring& word : words_) {
            line.command = line.command == nullptr ? FindCommand(tool_, word) : line.command;
        }
        if (!byOption && words_.size() > 1 && line.command == nullptr) {
            RefuseUsage(tool_, nullptr, "unknown command '" + Utf8FromWide(words_[1]) + "'");
        }
        return line;
    }

    using Argument = std::vector<std::wstring>::const_iterator;

    void TakeOption(const std::wstring& argument, Argument end, ReadLine& line) {
        const size_t equals = argument.find(L'=');
        const string name = Utf8FromWide(argument.substr(0, equals));
        const OptionForm* const option = FindOption(tool_, name);
        if (option == nullptr) {
            Refuse("unknown option " + name);
        }
        if (line.Has(name) && option->value != nullptr) {
            Refuse(name + " is given twice");
        }
        std::optional<std::wstring> value;
        if (equals != std::wstring::npos) {
            value = argument.substr(equals + 1);
        }
        line.options.emplace_back(option, ValueOf(*option, std::move(value), end));
    }

    std::wstring ValueOf(const OptionForm& option, std::optional<std::wstring> attached, Argument end) {
        if (option.value == nullptr) {
            if (attached) {
                Refuse(string(option.name) + " takes no value");
            }
            return {};
        }
        if (attached) {
            return *attached;
        }
        const bool mayBeLeftOut = option.value[0] == '[';
        if (mayBeLeftOut) {
            const bool follows =
                next_ != end && !next_->empty() && (*next_)[0] >= L'0' && (*next_)[0] <= L'9';
            return follows ? *next_++ : std::wstring();
        }
        if (next_ == end || next_->starts_with(L"--")) {
            Refuse("a value is missing: " + string(option.name) + " " + option.value);
        }
        return *next_++;
    }

    void CheckRun(ReadLine& line) {
        if (words_.empty()) {
            Refuse("a command is missing");
        }
        command_ = line.command = FindCommand(tool_, words_.front());
        if (command_ == nullptr) {
            Refuse("unknown command '" + Utf8FromWide(words_.front()) + "'");
        }
        line.operands.assign(words_.begin() + 1, words_.end());
        if (line.operands.size() < command_->fewest) {
            Refuse(string("something is missing: ") + command_->name + " " + command_->operands);
        }
        if (line.operands.size() > command_->most) {
            Refuse("'" + Utf8FromWide(line.operands[command_->most]) + "' is one argument too many");
        }
        for (const auto& [option, value] : line.options) {
            if (!Takes(*command_, *option)) {
                Refuse(string(option->name) + " does not go with " + command_->name + "; it goes with " +
                       option->commands);
            }
        }
    }

    const ToolForm& tool_;
    const std::vector<std::wstring>& arguments_;
    Argument next_{};
    std::vector<std::wstring> words_;
    const CommandForm* command_ = nullptr; // once it is known
};

// Pairs of texts side by side, the second from a common column on, its further lines as well.
class Columns {
  public:
    void Add(string left, string_view right) { rows_.emplace_back("  " + std::move(left), right); }

    [[nodiscard]] string Text() const {
        constexpr size_t kWidest = 44;
        size_t column = 0;
        for (const auto& [left, right] : rows_) {
            column = std::max(column, std::min(left.size() + 2, kWidest));
        }
        string text;
        for (const auto& [left, right] : rows_) {
            text += left;
            text += left.size() + 2 > column ? "\n" + string(column, ' ') : string(column - left.size(), ' ');
            for (const char c : right) {
                text += c;
                text += c == '\n' ? string(column, ' ') : "";
            }
            text += '\n';
        }
        return text;
    }

  private:
    std::vector<std::pair<string, string_view>> rows_;
};

string WithOperands(const CommandForm& command) {
    return string(command.name) + (command.operands[0] == '\0' ? "" : " ") + command.operands;
}

string OptionsText(const ToolForm& tool, const CommandForm* command) {
    Columns columns;
    for (const OptionForm& option : tool.options) {
        if (command == nullptr || Takes(*command, option)) {
            columns.Add(option.name + string(option.value == nullptr ? "" : " ") +
                            (option.value == nullptr ? "" : option.value),
                        option.help);
        }
    }
    columns.Add("--help, -h, /?",
                command == nullptr ? "this text; of a command: help <command>" : "this text");
    if (command == nullptr) {
        columns.Add("--version", "the versions");
    }
    columns.Add("--", "what follows is no option");
    return "Options, anywhere on the line (\"--name value\" or \"--name=value\")\n" + columns.Text();
}

} // namespace

const std::wstring* ReadLine::Find(string_view option) const {
    const auto found = std::find_if(options.begin(), options.end(),
                                    [&](const auto& given) { return option == given.first->name; });
    return found == options.end() ? nullptr : &found->second;
}

ReadLine ReadArguments(const ToolForm& tool, const std::vector<std::wstring>& arguments) {
    return Reader(tool, arguments).Read();
}

string HelpText(const ToolForm& tool, const CommandForm* command) {
    const string name = tool.name;
    if (command != nullptr) {
        return name + " " + WithOperands(*command) + "\n\n" + command->summary + "\n\n" + command->details +
               "\n" + OptionsText(tool, command) + "\nExample\n  " + command->example + "\n";
    }
    Columns commands;
    for (const CommandForm& each : tool.commands) {
        commands.Add(name + " " + WithOperands(each), each.summary);
    }
    return name + " - " + tool.summary + "\n\n" + commands.Text() + "\n" + OptionsText(tool, nullptr) + "\n" +
           tool.footer;
}

void RefuseUsage(const ToolForm& tool, const CommandForm* command, const string& what) {
    const string which = command == nullptr ? "" : string(" ") + command->name;
    string line = what + "; see " + tool.name + which + " --help";
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, '?');
    throw UsageError(line);
}

} // namespace steward::tools
