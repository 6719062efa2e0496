#include "VoraFactory.h"

namespace CommonLib {

VoraFactory::VoraFactory(QObject *parent) : QObject(parent)
{ }

VoraFactory::~VoraFactory() = default;

} // namespace CommonLib
