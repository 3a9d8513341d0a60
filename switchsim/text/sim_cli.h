// CLI scripts, one command a line: how an area writes its commands, and how it is given them.
//
// A command is a row of its area's table: a pattern of words, and the procedure that runs it. In a
// pattern stand, beside words that stand for themselves,
//
//   {n}               a decimal number of 32 bits
//   {t}               a text: a word, or anything in double quotes
//   {disable|enable}  one of several words; its position counts from 0, and {|on} has none at 0
//
// A text in quotes takes \" and \\ and, as \xHH, any byte but zero.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/openapi_types.h"
#include "switchsim/text/sim_address.h"

// What a line gave for the fields of the pattern, in their order.
struct sim_cli_arg_t {
  uint64_t number;   // of {n}, and the position of a chosen word
  std::string text;  // the word itself
};
using sim_cli_args_t = std::vector<sim_cli_arg_t>;

struct sim_command_t {
  const char* pattern;
  open_error_t (*run)(const sim_cli_args_t& args);
};

// The argument as the type that a procedure takes; false when it cannot be one.
template <class T>
bool sim_cli_take(const sim_cli_arg_t& arg, T& value)
{
  if constexpr (std::is_same_v<T, std::string>) {
    value = arg.text;
    return true;
  } else if constexpr (std::is_same_v<T, open_inet_addr_t>) {
    return sim_inet_parse(arg.text, value) == OPEN_E_NONE;
  } else {
    value = static_cast<T>(arg.number);
    return static_cast<uint64_t>(value) == arg.number;
  }
}

template <class... Params, size_t... Index>
open_error_t sim_cli_call(open_error_t (*procedure)(Params...),
                          [[maybe_unused]] const sim_cli_args_t& args,
                          std::index_sequence<Index...>)
{
  [[maybe_unused]] std::tuple<std::decay_t<Params>...> values = {};
  const bool taken = (sim_cli_take(args.at(Index), std::get<Index>(values)) && ...);
  return taken ? procedure(std::get<Index>(values)...) : OPEN_E_PARAM;
}

template <class... Params>
constexpr size_t sim_cli_count(open_error_t (*)(Params...))
{
  return sizeof...(Params);
}

// Runs a procedure with the arguments as its parameters, one by one.
template <auto procedure>
open_error_t sim_cli_run(const sim_cli_args_t& args)
{
  return sim_cli_call(procedure, args, std::make_index_sequence<sim_cli_count(procedure)>());
}

// ---- writing ----

inline void sim_cli_word(std::string& line, const char* words)
{
  line += words;
}
void sim_cli_word(std::string& line, const std::string& text);
inline void sim_cli_word(std::string& line, OPEN_CONTROL_t mode)
{
  line += mode == OPEN_ENABLE ? "enable" : "disable";
}
template <class T>
std::enable_if_t<std::is_integral_v<T>> sim_cli_word(std::string& line, T number)
{
  line += std::to_string(number);
}

// Appends one line: literal words, texts (in quotes where they need them), numbers and modes.
template <class First, class... Words>
void sim_cli_line(std::string& script, const First& first, const Words&... words)
{
  sim_cli_word(script, first);
  ((script += ' ', sim_cli_word(script, words)), ...);
  script += '\n';
}

// ---- reading ----

struct sim_cli_word_t {
  std::string text;
  bool quoted;  // such a word is never one of the pattern's own
};

// Splits a line into words; false when a quote is not closed, an escape is none, or a byte is zero.
// Empty lines and those that begin with "!" or "#" have no words.
bool sim_cli_split(const std::string& line, std::vector<sim_cli_word_t>& words);

// Reads decimal digits and nothing else.
bool sim_cli_number_read(const std::string& text, uint64_t& number);

// Whether the words are what the pattern asks for; the fields are then in args.
bool sim_cli_match(std::string_view pattern, const std::vector<sim_cli_word_t>& words,
                   sim_cli_args_t& args);
