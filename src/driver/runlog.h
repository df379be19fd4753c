// The run log on standard output: banner, start and completion times, the echo of
// the command line, the defaults in effect, and the existence checks of the inputs.
#pragma once

#include <array>
#include <cstdio>
#include <string>

#include "model/settings.h"

inline constexpr int kOptionCount = 19;

// Which settings were given on the command line (options-table order).
using OptionsGiven = std::array<bool, kOptionCount>;

// --help (or -help) and --version, wherever they stand among the options (a value
// of a value-taking option excepted): the usage summary or the version is printed
// and true returned, before any banner. Every other command line is left alone.
bool print_help_or_version(int argc, const char* const* argv, std::FILE* out);

void print_banner(std::FILE* out);

// "\nKestrova started: <time>\n" and "\nKestrova complete: <time>".
void print_start_time(std::FILE* out);
void print_complete_time(std::FILE* out);

// Echoes and applies argv[1..argc-1] in order. Returns "" or the error line that
// stops the run (unknown option, missing value, unusable tag count, thread count or
// position, a '-from' beyond '-to'); the echo of
// the arguments before it has been printed.
std::string parse_command_line(int argc, const char* const* argv, RunSettings& settings, OptionsGiven& given,
                               std::FILE* out);

// The "Defaults in effect:" block, each line under its condition, then a blank line.
void print_defaults(const RunSettings& settings, const OptionsGiven& given, std::FILE* out);

// The '-ne' warning and the existence checks in their fixed order. Returns "" or
// the error line for the first input file that cannot be opened.
std::string check_input_files(const RunSettings& settings, std::FILE* out);

// Decimal-to-integer conversion without validation: leading blanks, a sign and the
// digits that follow; anything else ends the number, no digits give 0.
int plain_int(const char* text);
