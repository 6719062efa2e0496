// The command line: the input's NUL-separated parts are vorahost's
// arguments. The host starts (-1), or leaves at once with its text: 0 with
// help or version on standard output, 2 with an error on standard error. A
// start never combines what the options say cannot go together.
#include "FuzzSupport.h"

#include <HostOptions.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Fuzz::init();
    QStringList arguments{QStringLiteral("vorahost")};
    for (const QByteArray &part : Fuzz::bytes(data, size).split('\0'))
        arguments.append(QString::fromUtf8(part));
    HostOptions options;
    QString out;
    QString err;
    const int code = HostOptions::parse(arguments, &options, &out, &err);
    Fuzz::check(code == -1 || code == 0 || code == 2, "start, or leave with 0 or 2");
    Fuzz::check((code == 0) == !out.isEmpty() && (code == 2) == !err.isEmpty(), "a text for each way out");
    if (code != -1)
        return 0;
    Fuzz::check(!options.apply || options.isReplay(), "--apply only with --replay");
    Fuzz::check(!options.isReplay()
                        || (!options.isScripted() && !options.trace && options.journalFile.isEmpty()
                            && !options.noPlugin && !options.setAsideSnapshot),
                "--replay runs on its own");
    return 0;
}
