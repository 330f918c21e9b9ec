#include "engine/com_apartment.h"

bool ComApartment::Enter() {
    return false;
}

void ComApartment::Leave() {}
