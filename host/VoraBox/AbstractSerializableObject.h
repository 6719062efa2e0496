#pragma once

#include "VoraBoxExport.h"

#include <QByteArray>

// A payload that can travel with a bus message beside its parameter map.
// The host's modules use it for bulk data; the plug-in never reads or sends
// one.
class VORABOX_EXPORT AbstractSerializableObject
{
public:
    virtual ~AbstractSerializableObject();
    virtual QByteArray serialize() const = 0;
    virtual bool deserialize(const QByteArray &data) = 0;
};
