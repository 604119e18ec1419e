// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/completion.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "tools/macctl/command_table.h"
#include "tools/macctl/live_board.h"

namespace macctl {

namespace {

constexpr const char* kOwnOptions[][2] = {
    {"--help", "print the help and exit"},
    {"--version", "print the version and exit"},
};

std::string home_expanded(const std::string& path) {
    const char* const home = std::getenv("HOME");
    return home != nullptr && path.starts_with("~/") ? home + path.substr(1) : path;
}

// Reads the words before the one that is typed, and then says what that one may be.
class Completer {
public:
    explicit Completer(const std::vector<std::string>& words) {
        for (size_t i = 0; i + 1 < words.size(); ++i) take(words[i]);
        current_ = words.empty() ? "" : words.back();
        // Shells that break words at '=' give it as a word of its own.
        if (current_ == "=") current_.clear();
    }

    Completion run() {
        const size_t equals = current_.find('=');
        if (awaited_ == nullptr && current_.starts_with("--") && equals != std::string::npos) {
            awaited_ = option_of(current_.substr(0, equals));
            prefix_ = current_.substr(0, equals + 1);
            current_.erase(0, equals + 1);
        }
        if (awaited_ != nullptr) return value_of(*awaited_);
        if (current_.starts_with("-")) return options();
        if (at_ == nullptr || is_object(*at_)) return words_below(at_ == nullptr ? "" : at_->path);
        return argument();
    }

private:
    void take(const std::string& word) {
        if (word == "=") return;
        if (awaited_ != nullptr) {
            if (awaited_->has_name("--board")) board_ = home_expanded(word);
            if (awaited_->has_name("--instance")) instance_ = host::parse_u32(word.c_str());
            awaited_ = nullptr;
        } else if (word.starts_with("-")) {
            const size_t equals = word.find('=');
            awaited_ = option_of(word.substr(0, equals));
            if (awaited_ != nullptr && awaited_->value == nullptr) awaited_ = nullptr;
            if (equals != std::string::npos) take(word.substr(equals + 1));
        } else if (at_ == nullptr || is_object(*at_)) {
            descend(word);
        } else {
            arguments_.push_back(word);
        }
    }

    void descend(const std::string& word) {
        for (const CommandRow* row : rows_below(at_ == nullptr ? "" : at_->path)) {
            const bool is_alias = row->alias != nullptr && row->alias == word;
            if (!is_alias && !row->name().starts_with(word)) continue;
            at_ = row;
            if (is_alias || row->name() == word) return;
        }
    }

    const OptionRow* option_of(const std::string& name) const {
        const auto has_it = [&name](const OptionRow& row) { return row.has_name(name); };
        for (const auto& rows :
             {at_ == nullptr ? std::span<const OptionRow>() : at_->options, global_options()}) {
            const auto found = std::find_if(rows.begin(), rows.end(), has_it);
            if (found != rows.end()) return &*found;
        }
        return nullptr;
    }

    void offer(std::string_view word, std::string_view what) {
        if (!word.starts_with(current_)) return;
        result_.text += fmt::format("{}{}\t{}\n", prefix_, word, what);
    }

    Completion words_below(std::string_view path) {
        for (const CommandRow* row : rows_below(path)) offer(row->name(), row->what);
        return result_;
    }

    Completion options() {
        for (const auto& rows :
             {at_ == nullptr ? std::span<const OptionRow>() : at_->options, global_options()}) {
            for (const OptionRow& row : rows) {
                std::string_view names = row.names;
                if (row.is_positional()) continue;
                names.remove_prefix(names.find("--"));
                offer(names.substr(0, names.find(',')), row.what);
            }
        }
        for (const auto& [name, what] : kOwnOptions) offer(name, what);
        return result_;
    }

    // The argument that comes next by its place.
    Completion argument() {
        size_t place = arguments_.size();
        if (at_->path == std::string_view("help")) return help_words();
        for (const OptionRow& row : at_->options) {
            if (row.is_positional() && place-- == 0) return value_of(row);
        }
        return result_;
    }

    Completion help_words() {
        std::string path;
        for (const std::string& word : arguments_) path += (path.empty() ? "" : " ") + word;
        return words_below(path);
    }

    Completion value_of(const OptionRow& row) {
        for (const char* const choice : row.choices) offer(choice, "");
        const std::string_view value = row.value;
        if (value == "FILE" || value == "PATH") result_.offer = Offer::kFiles;
        if (value == "FOLDER") result_.offer = Offer::kFolders;
        if (row.has_name("--instance")) instances();
        if (row.has_name("--type")) types();
        if (row.has_name("--crc16")) variants();
        return result_;
    }

    // The board at hand; none where it cannot be read, which is not this question's matter.
    std::vector<PoolLayout> pools() const {
        try {
            const auto file = board_.empty() ? live_board() : host::BoardFile::read(board_);
            return read_layout(file).pools;
        } catch (const std::exception&) {
            return {};
        }
    }

    void instances() {
        std::string last;
        for (const PoolLayout& pool : pools()) {
            const std::string text = fmt::format("0x{:x}", pool.inst);
            if (text != last) offer(text, "");
            last = text;
        }
    }

    void types() {
        for (const PoolLayout& pool : pools()) {
            if (pool.inst != instance_.value_or(0xffffffff)) continue;
            const auto& main = pool.copies[0] ? pool.copies[0] : pool.copies[1];
            offer(std::to_string(pool.type), main->place());
        }
    }

    void variants() {
        for (const platform::Crc16Variant& variant : platform::kCrc16Variants) {
            std::string name = variant.name;
            for (char& character : name) {
                character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
            }
            offer(name, "");
        }
    }

    const CommandRow* at_ = nullptr;
    const OptionRow* awaited_ = nullptr;  // whose value the next word is
    std::vector<std::string> arguments_;
    std::string current_;
    std::string prefix_;  // "--type=" before the value that is completed
    std::string board_;
    std::optional<u32> instance_;
    Completion result_;
};

constexpr char kBash[] = R"(# Completion of macctl; made by "macctl completion".
_macctl() {
    local current=${COMP_WORDS[COMP_CWORD]} answer status
    answer=$("${COMP_WORDS[0]}" __complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
    status=$?
    [ "$current" != = ] || current=
    COMPREPLY=()
    case $status in
    3 | 4)
        compopt -o filenames 2>/dev/null
        local kind=-f
        [ "$status" -eq 3 ] || kind=-d
        mapfile -t COMPREPLY < <(compgen "$kind" -- "$current")
        ;;
    *)
        [ -z "$answer" ] || mapfile -t COMPREPLY < <(cut -f1 <<<"$answer")
        ;;
    esac
}
complete -F _macctl macctl
)";

constexpr char kZsh[] = R"(#compdef macctl
# Completion of macctl; made by "macctl completion".
_macctl() {
    local answer
    local -a lines
    answer=$(${words[1]} __complete "${(@)words[2,CURRENT]}" 2>/dev/null)
    case $? in
    3) _files ;;
    4) _files -/ ;;
    *)
        lines=("${(@f)answer}")
        lines=("${(@)lines//:/\\:}")
        lines=("${(@)lines/$'\t'/:}")
        _describe macctl lines
        ;;
    esac
}
compdef _macctl macctl
)";

constexpr char kFish[] = R"(# Completion of macctl; made by "macctl completion".
function __macctl_complete
    set -l typed (commandline -opc) (commandline -ct)
    set -l answer ($typed[1] __complete $typed[2..-1] 2>/dev/null)
    switch $status
        case 3
            __fish_complete_path (commandline -ct)
        case 4
            __fish_complete_directories (commandline -ct)
        case '*'
            printf '%s\n' $answer
    end
end
complete -c macctl -f -a '(__macctl_complete)'
)";

}  // namespace

Completion complete(const std::vector<std::string>& words) { return Completer(words).run(); }

std::string completion_script(const std::string& shell) {
    if (shell == "fish") return kFish;
    if (shell == "bash") return kBash;
    if (shell == "zsh") return kZsh;
    return "";
}

}  // namespace macctl
