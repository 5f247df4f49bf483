#pragma once

#include "platform/codec/WebpSource.h"

namespace velk::codec {

/// A fresh decoder for image 0 of `source`.
Result<graphics::DecodedRows> openWebpRows(
    std::shared_ptr<WebpSource const> source, graphics::DecodeRequest const& request);

} // namespace velk::codec
