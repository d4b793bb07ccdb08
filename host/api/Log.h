// The host's log.
#pragma once

/// Writes a printf-style text to every log of the host. Text longer than a log line is cut; a text that cannot be formatted
/// is replaced by its format. The format may be writable memory and may hold "%n": a host's log ends the program for
/// neither. Any thread.
void LogBoth(const char* format, ...) __attribute__((format(printf, 1, 2)));
