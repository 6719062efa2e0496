#pragma once

#include <QString>

// Replays a write journal (see WriteJournal) into a configuration database:
// the last successful "new" value of each table and key is compared with
// what the database holds, value and storage class, and each difference is
// printed on standard output as
//   {"replay": {"table": T, "key": K, "database": stored or null, "journal": new}}
// With apply the differences are then written in one transaction, each in
// the journal's storage class. A bad journal line (named by its number) or a
// table the database lacks is refused before anything is written.
namespace JournalReplay {

// Returns the exit code: 0 done, 1 the database cannot be used, 2 the
// journal is not usable.
int run(const QString &journalFile, const QString &databaseFile, bool apply);

} // namespace JournalReplay
