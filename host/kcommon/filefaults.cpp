#include "filefaults.h"

#include <cerrno>
#include <cstring>

#include "kcommon/kstr.h"

namespace {

/// Sentences of one action. A % stands for the quoted name; the last one is followed by the system's words.
struct Sentences {
  const wchar_t* empty;
  const wchar_t* missing;
  const wchar_t* notFolder;
  const wchar_t* isFolder;
  const wchar_t* denied;
  const wchar_t* other;
};

/// In the order of FileAction.
constexpr Sentences kSentences[] = {
    {L"The file name is empty.", L"The file % does not exist.",
     L"The file % does not exist: a part of its path is not a folder.", L"% is a folder, not a file.",
     L"No permission to read the file %.", L"The file % can't be read: "},
    {L"The file name is empty.", L"The file % can't be written: its folder does not exist.",
     L"The file % can't be written: a part of its path is not a folder.", L"% is a folder, not a file.",
     L"No permission to write the file %.", L"The file % can't be written: "},
    {L"The name of the folder is empty.", L"The folder % does not exist.", L"% is not a folder.", L"% is a folder.",
     L"No permission to read the folder %.", L"The folder % can't be read: "},
    {L"The name of the folder is empty.", L"The folder % can't be made: a folder above it does not exist.",
     L"The folder % can't be made: a part of its path is not a folder.", L"% is a folder.",
     L"No permission to make the folder %.", L"The folder % can't be made: "},
    {L"The file name is empty.", L"The file % does not exist.",
     L"The file % can't be deleted: a part of its path is not a folder.", L"% is a folder, not a file.",
     L"No permission to delete the file %.", L"The file % can't be deleted: "},
};

std::wstring Fill(std::wstring sentence, const std::wstring& name) {
  return sentence.replace(sentence.find(L'%'), 1, L"\"" + name + L"\"");
}

}  // namespace

std::wstring ErrorText(int errorNumber) {
  const char* text = ::strerrordesc_np(errorNumber);
  return text ? kstr_Widen(text) : L"error " + std::to_wstring(errorNumber);
}

std::wstring FileFault(FileAction action, const std::wstring& name, int errorNumber) {
  const Sentences& sentences = kSentences[static_cast<int>(action)];
  switch (errorNumber) {
    case ENOENT:
      return name.empty() ? sentences.empty : Fill(sentences.missing, name);
    case ENOTDIR:
      return Fill(sentences.notFolder, name);
    case EISDIR:
      return Fill(sentences.isFolder, name);
    case EACCES:
    case EPERM:
      return Fill(sentences.denied, name);
    default:
      return Fill(sentences.other, name) + ErrorText(errorNumber) + L".";
  }
}
