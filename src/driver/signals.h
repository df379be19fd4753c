// A run stopped from outside. SIGINT, SIGTERM and SIGHUP end the run at once with
// "Error: run stopped by signal SIG...", the stop message and exit status 1. Result
// lines are each written with one system call (driver/results.h), so the files keep
// whole lines only, whichever moment the signal arrives (and after SIGKILL too).
#pragma once

// Installs the handlers; call once at the start of main.
void stop_on_signals();
