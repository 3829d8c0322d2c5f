#include "help.h"

#include "catalogue.h"
#include "words.h"

// A line of a table; what is too long for its column goes on below.
static void show_row(const std::string &name, const std::string &text)
{
    constexpr size_t kColumn = 30;
    std::string row = "  " + wrapped(name, 6);
    row += row.size() < kColumn ? std::string(kColumn - row.size(), ' ') : "\n" + std::string(kColumn, ' ');
    printf("%s%s\n", row.c_str(), wrapped(text, kColumn).c_str());
}

static std::string label_of(const Option &option)
{
    const bool named = !option.value_name.empty() && option.value_name != option.name;
    return option.name + (named ? " " + option.value_name : "") + (option.most > 1 ? " ..." : "");
}

static void show_options(const CommandLine &line, bool arguments, const char *title)
{
    for (const Option &each : line.options()) {
        if (each.is_argument() != arguments) {
            continue;
        }
        if (title != nullptr) {
            printf("\n%s:\n", title);
            title = nullptr;
        }
        show_row(label_of(each), each.description + (each.is_required ? " (required)" : ""));
    }
}

void show_help()
{
    puts("Sends a request to q7net-shellexec, the network executor, and says what became of it.\n"
         "\nUsage: q7rdctl [OPTIONS] COMMAND [ARGUMENTS]");
    Options options;
    CommandLine line;
    add_options(line, options);
    show_options(line, false, "Options");
    show_row("--version", "show the version");
    show_row("--help-all", "show the help of all commands");
    for (const Group &group : groups()) {
        printf("\n%s:\n", group.title);
        for (const Command &command : group.commands) {
            show_row(command.name, command.summary);
        }
    }
    puts("\nExit status: 0 done, 1 refused or failed, 2 wrong usage, 3 no reply\n"
         "\nExample:\n  q7rdctl link eth1 down\n  q7rdctl link --help");
}

void show_help(const Command &command)
{
    Request request;
    CommandLine line;
    command.add_options(line, request);
    std::string usage = std::string("Usage: q7rdctl ") + command.name;
    for (const Option &each : line.options()) {
        if (each.is_argument() || each.is_required) {
            const std::string label = each.is_argument() ? each.name + (each.most > 1 ? "..." : "") : label_of(each);
            usage += each.is_required ? " " + label : " [" + label + "]";
        }
    }
    printf("%s\n\n%s [OPTIONS]\n", command.summary, wrapped(usage, 0).c_str());
    show_options(line, true, "Arguments");
    show_options(line, false, "Options");
    printf("\nq7rdctl --help tells of the options that every command takes.\n\nExample:\n  q7rdctl %s %s\n",
           command.name, command.example);
}

void show_all_help()
{
    show_help();
    for (const Group &group : groups()) {
        for (const Command &command : group.commands) {
            printf("\n%s\n", command.name);
            show_help(command);
        }
    }
}
