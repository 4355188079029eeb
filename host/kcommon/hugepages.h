#pragma once

#include <cstddef>

/// Asks for huge pages where the memory is large: filling fresh ordinary pages costs several times the copy itself.
void AskForHugePages(void* data, std::size_t size);
