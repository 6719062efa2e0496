#include "AbstractSerializableObject.h"

AbstractSerializableObject::~AbstractSerializableObject() = default;
