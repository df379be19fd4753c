// The one way a run stops on a user error: the routine that finds the error hands
// back its "Error: ..." line, the caller prints it and calls kill_Kestrova.
#pragma once

#include <string>

// Prints the stop message and ends the process with exit status 1.
[[noreturn]] void kill_Kestrova();

// Prints an error line as given (it carries its own newline) and stops.
[[noreturn]] void stop_with(const std::string& error_line);

// printf-style formatting into a std::string, for error and warning lines.
std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
