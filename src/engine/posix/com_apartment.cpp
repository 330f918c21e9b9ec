#include "engine/com_apartment.h"

ComApartment::ComApartment() = default;

ComApartment::~ComApartment() = default;
