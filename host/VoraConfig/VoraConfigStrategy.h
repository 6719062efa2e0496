#pragma once

#include "VoraConfigExport.h"
#include "VoraConfigStatus.h"

#include <QString>

// Describes one configuration database to VoraConfigSQLite: which file, with
// which password, and which table (prefix + name) a read or write goes to.
//
// The order of the virtual functions is part of the host's binary interface:
// destructor, getDBFile, getXmlFile, getDBTableName, getDBTablePrefix.
class VORACONFIG_EXPORT VoraConfigStrategy
{
public:
    VoraConfigStrategy();
    virtual ~VoraConfigStrategy();

    virtual int getDBFile(QString &file, QString &password) = 0;
    // XML-backed configurations are not used by this host: an empty name.
    virtual int getXmlFile(QString &file);
    virtual int getDBTableName(QString &name) = 0;
    virtual int getDBTablePrefix(QString &prefix) = 0;

private:
    Q_DISABLE_COPY(VoraConfigStrategy)
};
