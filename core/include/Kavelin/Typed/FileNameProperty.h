#pragma once

#include <Kavelin/Core/StringProperty.h>
#include <Kavelin/Typed/ValueProperty.h>
#include <Util/System/Functor.h>

#include <string>
#include <utility>

namespace Kavelin::Core {

/// The name of a file, with variables expanded on reading. Its handler loads the file when a new name is in
/// place; if it raises, the write is refused: the old name stays and observers are not told.
class FileNameProperty : public StringProperty {
public:
    using Handler = Util::System::Functor<void, Util::System::Seq<>>;

    /// @param pattern which files a chooser shows, "*.par".
    FileNameProperty(const std::string& name, PropertyBagOwner* owner, const std::string& value,
                     std::string pattern = "*.par", Handler reload = {})
        : StringProperty(name, owner), pattern_(std::move(pattern)) {
        setForm(kPropertyForm<FileNameProperty>);
        setExpandVariables(true);
        set(value);
        noteInitial();
        reload_ = std::move(reload);  // set last: the default does not load
    }

    void accept(Util::System::AbstractVisitor& visitor) const override {
        if (!Util::System::visitAs(visitor, *this)) StringProperty::accept(visitor);
    }
    PropertyDescription describeForm() const {
        PropertyDescription description;
        description.kind = "file name";
        return description;
    }
    const std::string& getPattern() const { return pattern_; }

protected:
    void applyChange() override {
        if (reload_) reload_();
    }

private:
    std::string pattern_;
    Handler reload_;
};

}  // namespace Kavelin::Core
