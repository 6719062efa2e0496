// Script lines (vorahost --script): one line as the script runner reads it,
// through ScriptStep::parse, which checks a step before anything runs. A line
// is blank, a step, or refused with one line of error.
#include "FuzzSupport.h"

#include <ScriptStep.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Fuzz::init();
    // The runner cuts the script into lines after each '\n'.
    const QByteArray input = Fuzz::bytes(data, size);
    const int end = input.indexOf('\n');
    QString error;
    const ScriptStep step = ScriptStep::parse(end < 0 ? input : input.left(end + 1), &error);
    Fuzz::check((step.kind == ScriptStep::Invalid) == !error.isEmpty(), "an error exactly for a bad line");
    Fuzz::check(!error.contains(QLatin1Char('\n')), "the error is one line");
    Fuzz::check(step.waitMs >= 0 && step.waitMs <= 3600000, "a wait within its bounds");
    return 0;
}
