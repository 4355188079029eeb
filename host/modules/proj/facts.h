#pragma once

#include "context.h"

kprj::proj::Kind KindOf(const PJ* system);
kprj::proj::Facts FactsOf(const PJ* system);
std::vector<kprj::proj::Axis> AxesOf(const PJ* system, kprj::proj::CsKind& kind);
/// Of geodetic and vertical datums; without the " ensemble" that sets of datums have in their names.
std::string DatumNameOf(const PJ* system);
std::string WithoutEnsemble(std::string name);
std::string EllipsoidNameOf(const PJ* object);
std::string JsonOf(const PJ* system);
std::string IdAuthorityOf(const PJ* object);
std::string IdCodeOf(const PJ* object);
/// The code in `authority`, else empty.
std::string CodeIn(const PJ* object, const std::string& authority);
