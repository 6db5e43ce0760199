#include "TypedStreamRegistry.h"

#include "TypedStreamStandardCoders.h"

TypedStreamRegistry TypedStreamRegistry::withStandardClasses()
{
    TypedStreamRegistry registry;
    TypedStreamStandardCoders::registerAll(registry);
    return registry;
}

TypedStreamRegistry &TypedStreamRegistry::shared()
{
    static TypedStreamRegistry registry = withStandardClasses();
    return registry;
}

void TypedStreamRegistry::registerCoder(TypedStreamCoder coder)
{
    const QByteArray name = coder.className;
    m_coders.insert(name, std::move(coder));
}

void TypedStreamRegistry::setDefaultClassName(int metaTypeId, const QByteArray &className)
{
    m_defaultClassNames.insert(metaTypeId, className);
}

const TypedStreamCoder *TypedStreamRegistry::coder(const QByteArray &className) const
{
    const auto it = m_coders.constFind(className);
    return it == m_coders.cend() ? nullptr : &*it;
}

QByteArray TypedStreamRegistry::defaultClassName(int metaTypeId) const
{
    return m_defaultClassNames.value(metaTypeId);
}
