// The way to the system's journal.
//
// Threads: any.
#pragma once

#include "apps/cvhost/report/JournalReport.h"

namespace cvhost::report {

/// Whether `descriptor`, a standard file, leads to the journal, as a service's does ($JOURNAL_STREAM), and the journal is
/// there to take entries.
bool leadsToJournal(int descriptor);

/// Waits while the journal takes nothing.
void sendToJournal(JournalReport::Fields fields);

}  // namespace cvhost::report
