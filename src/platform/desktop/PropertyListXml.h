#pragma once

#include "base/PropertyValue.h"

#include <string>

namespace velk::desktop {

/// The dictionary as an XML property list in UTF-8. Numbers read back as they were: a float is written with
/// as many digits as tell it from its neighbours among floats. Characters that XML 1.0 cannot hold (2.2) and
/// malformed UTF-8 become U+FFFD. A date that the calendar does not have is written as text.
std::string propertyListXml(PropertyDictionary const& dictionary);

} // namespace velk::desktop
