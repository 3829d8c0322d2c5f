// Command lines of tools, written as one would type them:
//
//     rc = rd_run<"/sbin/ip link set dev <ifname> mtu <mtu>">(name, mtu);
//
// Each <place> is filled with a value of the call, in their order; its name only tells the reader which. Lines are cut into
// words when the program is compiled, and values come in as whole words, so that a blank in a value stays in it. What is
// kept is a read-only array of words with null in the places, copied for each call; no text is copied. A wrong number of
// values, a place without its '>', a line that is too long or begins with no absolute path does not compile.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <type_traits>
#include <utility>

inline constexpr size_t kMostWords = 24;

// A text as a template argument.
template <size_t N>
struct Typed {
    char text[N] = {};
    consteval Typed() = default;
    consteval Typed(const char (&typed)[N]) { std::copy_n(typed, N, text); } // NOLINT(google-explicit-constructor)
    // How often a character stands from one index on, up to another.
    constexpr size_t count(char wanted, size_t from = 0, size_t to = N) const
    {
        return static_cast<size_t>(std::count(text + from, text + to, wanted));
    }
    constexpr bool has_at(size_t at, const char *word) const
    {
        for (; *word != '\0'; word++, at++) {
            if (at >= N || text[at] != *word) {
                return false;
            }
        }
        return true;
    }
};

// A line cut into words, with so many places.
template <size_t Places>
struct Line {
    std::span<const char *const> words; // null in the places; a null behind the last
};

// The word is kept once, in however many lines it stands.
template <Typed word>
inline constexpr auto kWord = std::to_array(word.text);

template <Typed typed>
struct Cut {
    static constexpr size_t kWords = typed.count(' ') + 1;
    static constexpr size_t kPlaces = typed.count('<');
    static_assert(typed.text[0] == '/', "a tool is named by its absolute path");
    static_assert(kWords < kMostWords, "a line of too many words");

    static constexpr size_t start_of(size_t word)
    {
        size_t i = 0;
        for (; word > 0; i++) {
            word -= typed.text[i] == ' ' ? 1 : 0;
        }
        return i;
    }
    template <size_t I>
    static consteval const char *word()
    {
        constexpr size_t kStart = start_of(I);
        constexpr size_t kEnd = I + 1 < kWords ? start_of(I + 1) - 1 : sizeof typed.text - 1;
        constexpr bool kPlace = typed.text[kStart] == '<';
        static_assert(kEnd > kStart, "a blank too many");
        static_assert(typed.count('<', kStart, kEnd) == (kPlace ? 1 : 0) &&
                          typed.count('>', kStart, kEnd) == (kPlace ? 1 : 0) && (typed.text[kEnd - 1] == '>') == kPlace,
                      "a place is a word of its own, <name>");
        if constexpr (kPlace) {
            return nullptr;
        } else {
            constexpr auto kText = [] {
                Typed<kEnd - kStart + 1> text;
                std::copy(typed.text + kStart, typed.text + kEnd, text.text);
                return text;
            }();
            return kWord<kText>.data();
        }
    }
    static constexpr auto kArgv = []<size_t... I>(std::index_sequence<I...>)
    {
        return std::array<const char *, kWords + 1>{word<I>()..., nullptr};
    }
    (std::make_index_sequence<kWords>());
};

template <Typed typed>
consteval Line<Cut<typed>::kPlaces> rd_line()
{
    return {{Cut<typed>::kArgv.data(), Cut<typed>::kWords}};
}

// A line with its places filled: the argument vector of one call.
struct Argv {
    Argv(std::span<const char *const> line, const char *const values[]);
    const char *words[kMostWords];
};

// The argument vector of a line with its places filled.
template <Typed typed, typename... Values>
Argv rd_fill(Values... values)
{
    static_assert(sizeof...(values) == Cut<typed>::kPlaces, "as many values as places");
    const char *const list[] = {values..., nullptr};
    return Argv(rd_line<typed>().words, list);
}

// Fills a line and runs it as rd_exec_cmd does.
int rd_run_words(std::span<const char *const> words, const char *const values[], int wait, int quiet);

template <size_t Places, typename... Values>
int rd_run_line(Line<Places> line, int wait, int quiet, Values... values)
{
    static_assert(sizeof...(values) == Places, "as many values as places");
    static_assert((!std::is_null_pointer_v<Values> && ...), "a value is a word");
    const char *const list[] = {values..., nullptr};
    return rd_run_words(line.words, list, wait, quiet);
}

// Runs a tool, its output thrown away, and waits for it. Values are words, none of them null. Returns what rd_exec_cmd
// does.
template <Typed typed, typename... Values>
int rd_run(Values... values)
{
    return rd_run_line(rd_line<typed>(), 1, 1, values...);
}

// The same, with the daemon's own output.
template <Typed typed, typename... Values>
int rd_run_loud(Values... values)
{
    return rd_run_line(rd_line<typed>(), 1, 0, values...);
}

// The same as rd_run, but waits only when told so by a wait of 1.
template <Typed typed, typename... Values>
int rd_start(int wait, Values... values)
{
    return rd_run_line(rd_line<typed>(), wait, 1, values...);
}
