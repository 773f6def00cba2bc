#include "Host/Script/Describe.h"

namespace host {
namespace {

class Writer {
  public:
    explicit Writer(bool asMarkdown) : markdown(asMarkdown) {}

    void Heading(const std::string &kind, const std::string &name)
    {
        if (!text.empty()) text += "\n";
        text += (markdown ? "## " + kind + " `" + name + "`" : kind + " " + name) + "\n";
    }

    // A list under a heading of its own; nothing at all for an empty one.
    template <typename Items, typename ToLine>
    void List(const char *title, const Items &items, ToLine toLine)
    {
        if (items.empty()) return;
        text += markdown ? std::string("\n### ") + title + "\n\n" : std::string("  ") + title + "\n";
        for (const auto &item : items) {
            auto [code, remark] = toLine(item);
            if (!remark.empty()) remark = " (" + remark + ")";
            text += (markdown ? "- `" + code + "`" : "    " + code) + remark + "\n";
        }
    }

    const std::string &Text() const { return text; }

  private:
    bool markdown;
    std::string text;
};

using Line = std::pair<std::string, std::string>; // code and a remark on it

Line DescribeFunction(const Function &function)
{
    const Declaration &declaration = function.declaration;
    bool saysItself = declaration.extends.empty() || declaration.text.find("extends ") != std::string::npos;
    return {declaration.text, saysItself ? "" : "extends " + declaration.extends};
}

Line DescribeProperty(const Property &property)
{
    std::string remark = property.ReadOnly() ? "read-only" : "";
    if (property.Hidden()) remark += remark.empty() ? "hidden" : ", hidden";
    return {property.name + " As " + property.type.name, remark};
}

Line DescribeEvent(const std::unique_ptr<Event> &event)
{
    return {event->name, ""};
}

Line DescribeConstant(const Constant &constant)
{
    return {constant.name + " = " + constant.text, ""};
}

void DescribeClass(Writer &writer, const Class &type)
{
    writer.Heading("Class", type.super != nullptr ? type.name + ", a " + type.super->name : type.name);
    writer.List("Properties", type.properties, DescribeProperty);
    writer.List("Methods", type.methods, DescribeFunction);
    writer.List("Events", type.events, DescribeEvent);
    writer.List("Constants", type.constants, DescribeConstant);
    writer.List("Shared properties", type.sharedProperties, DescribeProperty);
    writer.List("Shared methods", type.sharedMethods, DescribeFunction);
}

} // namespace

std::string Describe(const Host &host, bool markdown)
{
    Writer writer(markdown);
    for (const auto &type : host.classes.All()) {
        if (!type->isOwn) DescribeClass(writer, *type);
    }
    for (const auto &module : host.classes.Modules()) {
        writer.Heading("Module", module->name);
        writer.List("Functions", module->functions, DescribeFunction);
        writer.List("Properties", module->properties, DescribeProperty);
        writer.List("Constants", module->constants, DescribeConstant);
    }
    auto single = host.classes.PluginFunctions();
    if (!single.empty()) writer.Heading("Functions", "outside of modules");
    writer.List("Functions", single, DescribeFunction);
    return writer.Text();
}

} // namespace host
