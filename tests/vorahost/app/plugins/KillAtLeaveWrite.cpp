// Preloaded into vorahost by the kill test: SIGKILL right after the K-th
// write step of leaving the developer mode (VORA_KILL_AFTER_LEAVE_WRITE=K).
// Leaving begins with the write of developerModeEnabled = false; from there
// every step of a statement that writes counts, and so does every COMMIT.

#include <sqlite3.h>

#include <dlfcn.h>

#include <csignal>
#include <cstdlib>
#include <cstring>

extern "C" __attribute__((visibility("default"))) int sqlite3_step(sqlite3_stmt *stmt)
{
    using Step = int (*)(sqlite3_stmt *);
    static const auto real = reinterpret_cast<Step>(dlsym(RTLD_NEXT, "sqlite3_step"));
    static const int killAfter = std::atoi(std::getenv("VORA_KILL_AFTER_LEAVE_WRITE") ?: "0");
    static int counted = -1; // leaving has not begun
    if (killAfter == 0)
        return real(stmt);
    const char *sql = sqlite3_sql(stmt);
    const bool write = !sqlite3_stmt_readonly(stmt) || (sql && std::strncmp(sql, "COMMIT", 6) == 0);
    if (write && counted < 0) {
        char *expanded = sqlite3_expanded_sql(stmt);
        if (expanded && std::strstr(expanded, "'developerModeEnabled'") && std::strstr(expanded, "'false'"))
            counted = 0;
        sqlite3_free(expanded);
    }
    const int rc = real(stmt);
    if (write && counted >= 0 && ++counted == killAfter)
        std::raise(SIGKILL);
    return rc;
}
