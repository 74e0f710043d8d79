// A program: how it begins, complains and ends.
#pragma once

#include <string_view>

namespace command_line {

// Runs the body, which returns the exit status or throws a Failure; returns the exit status. The program is called as
// its messages begin. No descriptor that is opened gets the number of a standard stream that the caller has closed.
int run_program(const char *name, int (*body)(int argc, char **argv), int argc, char **argv);

// A message of the program's own on a line of standard error, after its name; nothing of an empty one.
void complain(std::string_view message);

// Messages of others, in any pieces: each line of them begins as the program's own do.
void pass_on(std::string_view messages);

// Whether there has been no memory for something. Streams keep that to themselves, and what they have put together, or
// read, is then not all.
bool ran_out_of_memory();

// Has SIGINT end the program with kInterrupted, unless it is ignored: so does a shell that runs it in the background.
void exit_when_interrupted();

}  // namespace command_line
