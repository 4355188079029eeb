#pragma once

#include "kcommon/kgda.h"

/// Copies every element, texts included, into a fresh layer of the same size and type.
void CopyElements(const Kgda_BaseDataLayer& from, Kgda_BaseDataLayer& to);
