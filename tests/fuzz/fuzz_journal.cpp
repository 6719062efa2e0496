// Journal lines (vorahost --replay): the replay reads the input as a journal
// file and compares it with a scratch copy of a database, then writes it
// there with --apply. A dry run and an apply refuse the same journals, and
// after an apply the database holds the journal's values: a second apply
// finds nothing left to write.
#include "FuzzSupport.h"

#include <JournalReplay.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Fuzz::init();
    const QString database = Fuzz::freshDatabase();
    const QString journal = Fuzz::scratch(QStringLiteral("journal.jsonl"));
    Fuzz::writeAll(journal, Fuzz::bytes(data, size));

    const int dryRun = JournalReplay::run(journal, database, false);
    Fuzz::check(Fuzz::readAll(database) == Fuzz::pristineDatabase(), "a dry run writes nothing");
    const int applied = JournalReplay::run(journal, database, true);
    Fuzz::check(dryRun == applied, "a dry run and an apply refuse the same journals");
    if (applied != 0) {
        Fuzz::check(Fuzz::readAll(database) == Fuzz::pristineDatabase(), "a refused journal writes nothing");
        return 0;
    }
    const QByteArray afterApply = Fuzz::readAll(database);
    Fuzz::check(JournalReplay::run(journal, database, true) == 0, "an applied journal applies again");
    Fuzz::check(Fuzz::readAll(database) == afterApply, "the second apply finds no difference");
    return 0;
}
