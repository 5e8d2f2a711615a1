#include <ostra/cluster/PredefinedResourceTypes.h>

#include <ostra/foundation/MakeOrNull.h>
#include <ostra/foundation/OstraString.h>
#include <ostra/foundation/ParameterString.h>
#include <ostra/network/NTClusterDisks.h>

#include <utility>

namespace {

constexpr wchar_t parametersCategory[] = L"Parameters";
constexpr wchar_t w3Service[] = L"ServiceName=REG_SZ:W3SVC";

constexpr std::size_t shortestSignature = 4;  // characters; what is shorter is a drive

template <typename Kind>
std::unique_ptr<ResourceType> Make(const std::wstring& clusterName, HCLUSTER cluster) {
    return MakeOrNull<Kind>(clusterName, cluster);
}

}  // namespace

int PredefinedResourceType::UpdateRegistry(const StringArray*) {
    return 0;
}

FileShare::FileShare(const std::wstring& clusterName, HCLUSTER cluster)
    : PredefinedResourceType(L"File Share", cluster, clusterName) {
    _attributeNames.push_back(L"Description");
}

void FileShare::SetDefault(const std::wstring& name, const std::wstring& value) {
    if (name == L"Path") SetDiskPath(value);
    if (name == L"ShareName") {
        SetShareName(value);
        printf(L" name:%ws value:%ws _fileShareName:%ws\n", name.c_str(), value.c_str(), _fileShareName.c_str());
    }
    if (name == L"HTMLPath") _htmlPath = value;
}

void FileShare::SetDiskPath(const std::wstring& value) {
    if (value.size() < shortestSignature) {
        _diskPath = value;
        return;
    }
    const NTClusterDisks disks(_typeClusterName);
    Disk* disk = disks.FindBySignatureInDWORD(disks.Availables(), value);
    if (!disk) disk = disks.FindBySignatureInDWORD(disks.Used(), value);
    if (disk)
        _diskPath = disk->Partition();
    else
        _eventViewer << L"FileShare::SetDefault( ). Selected disk drive not found. Signature in DWORD:" + value;
}

void FileShare::SetShareName(const std::wstring& resourceName) {
    const std::wstring word = OstraString(resourceName, L"(", L")").FrankedWord(1);
    if (!word.empty()) _fileShareName = L"FileShare" + word + _diskPath.substr(0, 1);
}

void FileShare::InitializeParameters() {
    DeinitializeParameters();
    _categories = {parametersCategory};
    _parameters[privateList] = {L"ShareName=REG_SZ:" + _fileShareName, L"Path=REG_SZ:" + _htmlPath,
                                L"MaxUsers=REG_DWORD:4294967295", L"Permissions=REG_DWORD:127"};
}

GenericApplication::GenericApplication(const std::wstring& clusterName, HCLUSTER cluster)
    : PredefinedResourceType(L"Generic Application", cluster, clusterName) {}

void GenericApplication::InitializeParameters() {
    DeinitializeParameters();
    _categories = {parametersCategory};
    _parameters[privateList] = {L"CommandLine=REG_SZ:c:\\bin\\noise.exe", L"CurrentDirectory=REG_SZ:c:\\bin\\"};
}

GenericService::GenericService(const std::wstring& clusterName, HCLUSTER cluster)
    : PredefinedResourceType(L"Generic Service", cluster, clusterName) {}

void GenericService::InitializeParameters() {
    DeinitializeParameters();
    _categories = {parametersCategory};
    _parameters[privateList] = {L"CommandLine=REG_SZ:c:\\bin\\noise.exe", L"CurrentDiectory=REG_SZ:c:\\bin\\"};
}

IISVirtualRoot::IISVirtualRoot(const std::wstring& clusterName, HCLUSTER cluster)
    : PredefinedResourceType(L"IIS Virtual Root", cluster, clusterName) {}

void IISVirtualRoot::InitializeParameters() {
    DeinitializeParameters();
    _categories = {parametersCategory};
    _parameters[commonList] = {L"SeparateMonitor=REG_DWORD:0"};
    _parameters[privateList] = {L"Directory=REG_SZ:G:\\HTML", L"Alias=REG_SZ:/Home", w3Service,
                                L"AccessMask=REG_DWORD:1"};
}

void IISVirtualRoot::UpdateParameters(const StringArray* parameters) {
    ResourceType::UpdateParameters(parameters);
    _parameters[privateList].push_back(w3Service);
}

IPAddress::IPAddress(const std::wstring& clusterName, HCLUSTER cluster)
    : PredefinedResourceType(L"IP Address", cluster, clusterName) {
    _attributeNames.push_back(L"Address");
}

void IPAddress::InitializeParameters() {
    DeinitializeParameters();
}

NetworkName::NetworkName(const std::wstring& clusterName, HCLUSTER cluster)
    : PredefinedResourceType(L"Network Name", cluster, clusterName) {}

void NetworkName::InitializeParameters() {
    DeinitializeParameters();
    _categories = {parametersCategory};
    _parameters[privateList] = {L"Name=REG_SZ:OstraNetwork"};
}

PhysicalDisk::PhysicalDisk(const std::wstring& clusterName, HCLUSTER cluster)
    : PredefinedResourceType(physicalDiskType, cluster, clusterName) {}

void PhysicalDisk::InitializeParameters() {}

PrintSpooler::PrintSpooler(const std::wstring& clusterName, HCLUSTER cluster)
    : PredefinedResourceType(L"Print Spooler", cluster, clusterName) {}

void PrintSpooler::InitializeParameters() {
    DeinitializeParameters();
    _categories = {parametersCategory, L"Printers"};
    _parameters[privateList] = {L"JobCompletionTimeout=REG_DWORD:160000", L"DefaultSpoolDirectory=REG_SZ:Spooler"};
}

void PrintSpooler::UpdateParameters(const StringArray* parameters) {
    const StringArray given = parameters ? *parameters : StringArray();  // may be one of the lists replaced now
    ResourceType::UpdateParameters(&given);
    for (const std::wstring& parameter : given)
        if (ParameterString(parameter).name == L"DefaultSpoolDirectory")
            _parameters[directoryList].push_back(parameter);
    _categories.push_back(L"Printers");
}

TimeService::TimeService(const std::wstring& clusterName, HCLUSTER cluster)
    : PredefinedResourceType(L"Time Service", cluster, clusterName) {}

void TimeService::InitializeParameters() {
    DeinitializeParameters();
}

std::unique_ptr<ResourceType> MakeResourceType(const std::wstring& kind, HCLUSTER cluster,
                                               const std::wstring& clusterName) {
    using Maker = std::unique_ptr<ResourceType> (*)(const std::wstring&, HCLUSTER);
    static const std::pair<const wchar_t*, Maker> makers[] = {
        {L"File Share", Make<FileShare>},           {L"Generic Application", Make<GenericApplication>},
        {L"Generic Service", Make<GenericService>}, {L"IIS Virtual Root", Make<IISVirtualRoot>},
        {L"IP Address", Make<IPAddress>},           {L"Network Name", Make<NetworkName>},
        {physicalDiskType, Make<PhysicalDisk>},     {L"Print Spooler", Make<PrintSpooler>},
        {L"Time Service", Make<TimeService>}};
    for (const auto& [name, make] : makers)
        if (kind == name) return make(clusterName, cluster);
    return MakeOrNull<ResourceType>(kind, cluster, clusterName);
}
