// Fatal numerical errors: three lines on standard error, then exit status 1.
#pragma once

[[noreturn]] void nrerror(const char* error_text);
