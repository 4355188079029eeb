#pragma once

#include <proj.h>

#include <memory>
#include <string>
#include <vector>

#include "projcalls.h"

/// Objects of PROJ keep a pointer to the context that made them, and texts that they hand out: none leaves the function
/// that made it, and none is shared by threads.
struct ObjectDeleter {
  void operator()(PJ* object) const { ::proj_destroy(object); }
  void operator()(PJ_OBJ_LIST* list) const { ::proj_list_destroy(list); }
  void operator()(char** list) const { ::proj_string_list_destroy(list); }
};
using Object = std::unique_ptr<PJ, ObjectDeleter>;
using ObjectList = std::unique_ptr<PJ_OBJ_LIST, ObjectDeleter>;
using TextList = std::unique_ptr<char*, ObjectDeleter>;

/// This thread's context, which lives as long as the thread. Raises KorvenLog::CPPException where there is no database
/// that it can use.
PJ_CONTEXT* Context();
/// What PROJ said last in this thread since ForgetWords.
const std::string& LastWords();
void ForgetWords();

inline std::string TextOf(const char* text) { return text ? text : ""; }
/// Null where there is no such system. What is tied to another system is given without that tie.
Object MakeSystem(const kprj::proj::Source& source);
Object WithoutTie(Object system);
