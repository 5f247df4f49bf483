#pragma once

#include "platform/codec/Codec.h"

#include <span>
#include <string>

namespace velk::codec {

/// Formats whose codec lies in a shared module, velk-codec-<name>.so: recognised here, opened and encoded
/// there. The module is loaded when a file of the format is opened or written.
std::span<Codec const* const> moduleCodecs();

/// Whether the codec can work: true for all but those whose module is not installed.
bool isInstalled(Codec const& codec);
/// The name of the package that brings the codec.
std::string packageOf(Codec const& codec);
/// What is missing, and what brings it, of a codec that is not installed.
std::string missingModuleText(Codec const& codec);

/// The function that a codec module exports under this name: its codec of the type, or null when it has none.
/// What the format carries is known here; the module does not say it again.
using FindModuleCodec = Codec const* (*)(std::string_view typeIdentifier);
constexpr char kFindModuleCodec[] = "velkModuleCodec";

} // namespace velk::codec
