// What stands before the plan: the log, its first record, the priority.
#pragma once

class CCmdLineArgs;

/// Makes the log that the options ask for and installs it as the default. A log file that cannot be had costs a line on
/// standard error: the dump does not need it.
void SetupLogging(const CCmdLineArgs& args);

/// Logs program, command line and machine.
void LogStart(const CCmdLineArgs& args);

/// Gives the process the priority that the options ask for, if they do. A word that is none changes nothing.
void SetupPriority(const CCmdLineArgs& args);
