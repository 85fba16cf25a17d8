// The host logger. On Windows this is journal-x64.dll; libjournal.so is the Linux stand-in.
// Every message is one line on standard error, or in the file that the environment variable
// TOV_LOG_FILE names, unless a host installs a sink of its own. Lines are buffered and written
// out within 50 ms, and at exit, abort and on fatal signals.
#pragma once

#if defined(_WIN32)
#ifdef TOV_BUILDING_JOURNAL
#define TOV_JOURNAL_API __declspec(dllexport)
#else
#define TOV_JOURNAL_API
#endif
#else
#define TOV_JOURNAL_API __attribute__((visibility("default")))
#endif

extern "C" {

TOV_JOURNAL_API int LogMessage(int level, int category, int flags, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

// A sink receives the integers, the format as given and the formatted message.
typedef void (*JournalSink)(void* context, int level, int category, int flags, const char* format,
                            const char* message);

// Installs a sink (null restores standard error) and returns the previous one.
TOV_JOURNAL_API JournalSink JournalSetSink(JournalSink sink, void* context);
}
