#include "VoraConfigStrategy.h"

VoraConfigStrategy::VoraConfigStrategy() = default;

VoraConfigStrategy::~VoraConfigStrategy() = default;

int VoraConfigStrategy::getXmlFile(QString &file)
{
    file.clear();
    return VoraConfigOk;
}
