// Receipts as text for a terminal. Any thread.
#pragma once

#include "SupportService.h"

#include <ostream>

namespace support_service {

/// File name, Log ID, size, SHA-256, where the archive was stored and what it holds. Names come from the
/// client: their control characters show as "?".
void printReceipt(std::ostream &out, const Receipt &receipt);

} // namespace support_service
