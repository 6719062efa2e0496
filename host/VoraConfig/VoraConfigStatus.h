#pragma once

// Status values of the configuration classes. Every operation of the
// configuration library returns one of these; only VoraConfigOk means success.
enum VoraConfigStatus : int {
    VoraConfigOk = 0x31000001,
    VoraConfigNotOpen = 0x31000002, // no database file behind the object
    VoraConfigBadTable = 0x31000003, // table name is not a plain identifier
    VoraConfigNoSuchTable = 0x31000004, // table missing in the database
    VoraConfigSqlError = 0x31000005, // SQLite reported an error
    VoraConfigNoStrategy = 0x31000006, // neither a strategy passed nor one set
};
