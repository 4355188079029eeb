#include "filenames.h"
#include "kcommon/filelock.h"
#include "kcommon/kerr.h"
#include "kcommon/kfio.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kCreateLockFile{
    .name = L"CreateLockFile",
    .description =
        L"Creates a temporary .lock file unless one already exists. Used for preventing simultaneous file "
        L"modification.",
};

class CreateLockFile : public Described<kCreateLockFile> {
 public:
  void DeclarePorts() override {
    CreateAnyFileInput(*this, L"FilenameIn");
    CreateAnyFileOutput(*this, L"FilenameOut")->SetAttribute(L"Input", MakeData<BoolData>(false));
    onInvalidate_ = AddOnInvalidateCallback([this](const boost::shared_ptr<Operator>&) { lock_.reset(); });
  }

 protected:
  void OnExecute() override {
    namespace FileLock = korven::common::FileLock;
    KerrException error(L"tx_general\\createlockfile", L"korven::tx_general::CreateLockFile::OnExecute");
    const std::wstring name = *GetPortDataOf<FileData>(RequirePort(*this, L"FilenameIn"));
    const bool exists = kfio_FileExists(name, error);
    error.Check(__LINE__);
    if (!exists) SetErrorMessage(name + L" does not exist.");
    // An earlier lock ends when there is a new one, so that nobody comes between the two, or when there is none.
    const auto before = std::move(lock_);
    lock_ = FileLock::TryGetExclusiveLock(FileLock::GetLockName(name));
    if (!lock_) SetErrorMessage(name + L" is being modified by another process.");
    WritePortOf<FileData>(*this, L"FilenameOut", name);
  }

 private:
  boost::shared_ptr<korven::common::FileLock::UniqueLock> lock_;
  CallbackHandle onInvalidate_;
};

TX_GENERAL_FACTORY(CreateLockFile)

}  // namespace korven::tx_general
