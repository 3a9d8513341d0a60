// CLI scripts, one command a line: how an area writes its commands, and how it is given them.
//
// A command is a row of its area's table: a pattern of words, and the procedure that runs it. In a
// pattern stand, beside words that stand for themselves,
//
//   {n}               a decimal number of 32 bits
//   {l}               a decimal number of 64 bits
//   {t}               a text: a word, or anything in double quotes
//   {disable|enable}  one of several words; its position counts from 0
//
// A text in quotes takes \" and \\ and, as \xHH, any byte but zero.
#pragma once

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/openapi_types.h"

// What a line gave for the fields of the pattern, in their order.
struct sim_cli_arg_t {
  uint64_t number;   // of {n} and {l}, and the position of a chosen word
  std::string text;  // the word itself
};
typedef std::vector<sim_cli_arg_t> sim_cli_args_t;

struct sim_command_t {
  const char* pattern;
  open_error_t (*run)(const sim_cli_args_t& args);
};

// The number of an argument as the type that a procedure takes.
template <class T = uint32_t>
T sim_cli_number(const sim_cli_args_t& args, size_t index)
{
  return static_cast<T>(args.at(index).number);
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

// Splits a line into words; false when a quote is not closed or an escape is none. Empty lines and
// those that begin with "!" or "#" have no words.
struct sim_cli_word_t {
  std::string text;
  bool quoted;  // such a word is never one of the pattern's own
};
bool sim_cli_split(const std::string& line, std::vector<sim_cli_word_t>& words);

// Whether the words are what the pattern asks for; the fields are then in args.
bool sim_cli_match(const char* pattern, const std::vector<sim_cli_word_t>& words,
                   sim_cli_args_t& args);
