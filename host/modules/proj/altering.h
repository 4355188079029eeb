#pragma once

#include "context.h"

/// Systems made of others. Null, or what was given in, is never a silent answer to a failure: each is null then.

Object Demoted(const PJ* system);
Object Promoted(const PJ* system);
/// `angular`: of the horizontal axes of a geographic system; else of all axes in lengths.
Object InUnit(const PJ* system, const kprj::proj::Unit& unit, bool angular);
Object Renamed(const PJ* system, const std::string& name);
Object Compound(const std::string& name, PJ* horizontal, PJ* vertical);
Object Projected3D(const std::string& name, const PJ* projected, const PJ* geographic3D);
Object UserProjected(const kprj::proj::UserProjection& projection);
