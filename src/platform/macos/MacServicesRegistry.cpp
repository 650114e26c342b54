#include "platform/ServicesRegistry.h"

#include "platform/PropertyList.h"

#include <QDebug>
#include <QProcess>

#include <CoreFoundation/CoreFoundation.h>

namespace {

// The value crosses between CoreFoundation and Qt as an XML property list, which both read and write
// without loss for the dictionaries, strings and booleans this domain holds.
class PbsServicesRegistry final : public ServicesRegistry {
public:
    std::optional<QVariantMap> load() override
    {
        const CFStringRef key = statusKey().toCFString();
        const CFStringRef domain = pbsDomain().toCFString();
        CFPreferencesAppSynchronize(domain);
        const CFPropertyListRef value = CFPreferencesCopyAppValue(key, domain);
        CFRelease(key);
        CFRelease(domain);
        if (value == nullptr)
            return std::nullopt;
        std::optional<QVariantMap> status;
        if (CFGetTypeID(value) == CFDictionaryGetTypeID()) {
            if (const CFDataRef data =
                    CFPropertyListCreateData(kCFAllocatorDefault, value, kCFPropertyListXMLFormat_v1_0, 0, nullptr)) {
                const PropertyList::ReadResult read = PropertyList::parse(QByteArray::fromRawCFData(data));
                if (read.ok() && read.value.typeId() == QMetaType::QVariantMap)
                    status = read.value.toMap();
                CFRelease(data);
            }
        }
        CFRelease(value);
        return status;
    }

    std::optional<QString> store(const QVariantMap &status) override
    {
        const QByteArray xml = PropertyList::toXml(status);
        const CFDataRef data = xml.toRawCFData();
        CFErrorRef error = nullptr;
        const CFPropertyListRef value =
            CFPropertyListCreateWithData(kCFAllocatorDefault, data, kCFPropertyListImmutable, nullptr, &error);
        CFRelease(data);
        if (value == nullptr) {
            QString reason = QStringLiteral("the status couldn't be converted");
            if (error != nullptr) {
                const CFStringRef description = CFErrorCopyDescription(error);
                reason = QString::fromCFString(description);
                CFRelease(description);
                CFRelease(error);
            }
            return reason;
        }
        const CFStringRef key = statusKey().toCFString();
        const CFStringRef domain = pbsDomain().toCFString();
        CFPreferencesSetAppValue(key, value, domain);
        const bool synchronized = CFPreferencesAppSynchronize(domain);
        CFRelease(key);
        CFRelease(domain);
        CFRelease(value);
        if (!synchronized)
            return QStringLiteral("the pbs preferences couldn't be written");
        return std::nullopt;
    }

    void refresh() override
    {
        // Neither is waited for; the second runs even when the first couldn't start.
        for (const QStringList &command : refreshCommands()) {
            if (!QProcess::startDetached(command.constFirst(), command.mid(1)))
                qDebug().noquote() << "ServicesRegistry: couldn't start" << command.join(QLatin1Char(' '));
        }
    }

    // The Services registry itself shows the Quick Action: an entry is all it takes.
    bool isIntact(const QString &menuName) override
    {
        const std::optional<QVariantMap> status = load();
        return status && status->contains(key(menuName));
    }

private:
    static QString pbsDomain() { return QStringLiteral("pbs"); }
    static QString statusKey() { return QStringLiteral("NSServicesStatus"); }
};

} // namespace

ServicesRegistry &ServicesRegistry::system()
{
    static PbsServicesRegistry registry;
    return registry;
}
