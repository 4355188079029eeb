#pragma once

#include <boost/shared_ptr.hpp>
#include <string>
#include <vector>

#include "kcommon/uri.h"
#include "plugin/plugintypeinfo.h"
#include "txlib/model.h"
#include "txlib/operator.h"

namespace Tamrin::Tessera {

/// The operators of all plug-ins and of the engine. Any thread.
class OperatorFactory {
 public:
  /// A new operator that has been through Initialize; null for an unknown name. Found whichever form the name
  /// is registered in.
  static boost::shared_ptr<Operator> Create(const std::wstring& nameSpace, const std::wstring& name);
  static bool Contains(const std::wstring& nameSpace, const std::wstring& name);
  /// Facts of the operators whose constructor called SetPrototype with that text: "Namespace", "ObjectName",
  /// "DisplayName", "Keywords", "Description", "DisplayCategory", "Icon".
  static std::vector<boost::shared_ptr<korven::plugin::PluginTypeInfo>> GetPluginTypeInfoByPrototype(
      const std::wstring& prototype);
  /// Dotted names of all operators in the order of the catalogue.
  static std::vector<std::wstring> GetNames();
};

/// Public facts of a document, read without opening it.
struct ModelInfo {
  std::wstring name, nameSpace, displayName, displayCategory, icon, description, keywords;
};

/// A document format. The operations with a URI lead to those with a buffer, by way of the file's text as UTF-8: a
/// format whose documents are text fills those alone. Any thread.
class ModelFormatPart {
 public:
  virtual std::wstring ToString() const;  ///< the class's type name
  virtual void Hook() {}
  virtual std::wstring GetFileFilter() const;     ///< "NAME (*EXTENSION)"
  virtual std::wstring GetExtension() const = 0;  ///< ".tsmx"
  virtual bool SupportsOpen() const;
  /// False for what can't be read, too.
  virtual bool CanOpen(const URI& uri);
  virtual boost::shared_ptr<Model> Open(const URI& uri);
  virtual ModelInfo GetModelInfo(const URI& uri);
  virtual ModelInfo GetModelInfoFromBuffer(const std::wstring& text);
  virtual bool SupportsOpenFromBuffer() const { return false; }
  /// Never raises.
  virtual bool CanOpenFromBuffer(const std::wstring& text);
  /// `name` is the file that the text comes from, or empty.
  virtual boost::shared_ptr<Model> OpenFromBuffer(const std::wstring& text, const std::wstring& name);
  virtual bool SupportsSave() const;
  virtual void Save(const boost::shared_ptr<Model>& model, const URI& uri);
  virtual bool SupportsSaveToBuffer() const { return false; }
  virtual std::wstring SaveToBuffer(const boost::shared_ptr<Model>& model);
  virtual ~ModelFormatPart() = default;
};
class ModelFormat : public ModelFormatPart, public korven::plugin::IPlugin {
 public:
  std::wstring Description() const override;
  std::wstring Provider() const override;
  std::wstring Version() const override;
  std::map<std::wstring, boost::shared_ptr<korven::plugin::PluginTypeInfo>> TypeInfo() const override;
};

/// A dialog or helper of a user interface, named by operators and ports, or by the data type that it edits. Each form
/// is true where the user accepted; a form that a provider does not have is false.
class UIProvider : public korven::plugin::IPlugin {
 public:
  virtual bool ShowDialog(const boost::shared_ptr<Operator>&) { return false; }
  /// Sets what the user chose on the port.
  virtual bool ShowDialog(const boost::shared_ptr<Port>&) { return false; }
  /// Edits a value, which may be null, for a port of that name; `attributes` are those of the port. `out` is set
  /// where the user accepted.
  virtual bool ShowDialog(const std::wstring& /*portName*/, const boost::shared_ptr<Data>& /*data*/,
                          const AttributeMap& /*attributes*/, boost::shared_ptr<Data>& /*out*/) {
    return false;
  }
  std::wstring Description() const override;
  std::wstring Provider() const override;
  std::wstring Version() const override;
  std::map<std::wstring, boost::shared_ptr<korven::plugin::PluginTypeInfo>> TypeInfo() const override;
};

/// Opens and saves documents. An empty format name picks the format by the extension or the text. Opening raises
/// DocumentException with all faults of the document. Any thread.
class ModelFormatFactory {
 public:
  static boost::shared_ptr<Model> Open(const std::wstring& file, const std::wstring& format);
  static boost::shared_ptr<Model> OpenFromBuffer(const std::wstring& text, const std::wstring& format);
  /// Beside its place, then renamed.
  static void Save(const boost::shared_ptr<Model>& model, const std::wstring& file, const std::wstring& format);
  static std::wstring SaveToBuffer(const boost::shared_ptr<Model>& model, const std::wstring& format);
  static ModelInfo GetModelInfo(const std::wstring& text, const std::wstring& format);
};

/// The forms of UIProvider::ShowDialog by the provider's name. False where there is no such provider, as in a program
/// without a user interface.
class UIProviderFactory {
 public:
  static bool ShowDialog(const std::wstring& nameSpace, const std::wstring& name,
                         const boost::shared_ptr<Operator>& op);
  static bool ShowDialog(const std::wstring& nameSpace, const std::wstring& name, const boost::shared_ptr<Port>& port);
  /// The editor of a data type: the provider that has the type's name.
  static bool ShowDialog(const ObjectName& type, const std::wstring& portName, const boost::shared_ptr<Data>& data,
                         const AttributeMap& attributes, boost::shared_ptr<Data>& out);
};

}  // namespace Tamrin::Tessera
