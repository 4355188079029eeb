#pragma once

#include <string>

/// The folder of a path with the slash behind it; empty where it names none.
std::string FolderPart(const std::string& path);

/// Follows links, also where the last one leads to a file that is yet to be made. Zero, or the error number.
int FollowLinks(std::string& path);
