#pragma once

#include <platform/base/types.h>

/// The system's result codes, as far as this product returns or reads them. 0 is success everywhere.
namespace platform::error {

inline constexpr DWORD Success = 0;
inline constexpr DWORD FileNotFound = 2;
inline constexpr DWORD PathNotFound = 3;
inline constexpr DWORD AccessDenied = 5;
inline constexpr DWORD InvalidHandle = 6;
inline constexpr DWORD NotEnoughMemory = 8;
inline constexpr DWORD InvalidData = 13;
inline constexpr DWORD NotReady = 21;
inline constexpr DWORD GeneralFailure = 31;
inline constexpr DWORD NotSupported = 50;
inline constexpr DWORD DuplicateName = 52;
inline constexpr DWORD BadNetworkPath = 53;
inline constexpr DWORD FileExists = 80;
inline constexpr DWORD InvalidParameter = 87;
inline constexpr DWORD BrokenPipe = 109;
inline constexpr DWORD DiskFull = 112;
inline constexpr DWORD CallNotImplemented = 120;
inline constexpr DWORD SemaphoreTimeout = 121;
inline constexpr DWORD InsufficientBuffer = 122;
inline constexpr DWORD InvalidName = 123;
inline constexpr DWORD ModuleNotFound = 126;
inline constexpr DWORD DirectoryNotEmpty = 145;
inline constexpr DWORD Busy = 170;
inline constexpr DWORD AlreadyExists = 183;
inline constexpr DWORD PipeBusy = 231;
inline constexpr DWORD PipeNotConnected = 233;
inline constexpr DWORD MoreData = 234;
inline constexpr DWORD NoMoreItems = 259;
inline constexpr DWORD PipeConnected = 535;
inline constexpr DWORD IoIncomplete = 996;
inline constexpr DWORD IoPending = 997;
inline constexpr DWORD FileInvalid = 1006;
inline constexpr DWORD BadDatabase = 1009;
inline constexpr DWORD BadKey = 1010;
inline constexpr DWORD CannotOpenDatabase = 1011;
inline constexpr DWORD KeyDeleted = 1018;
inline constexpr DWORD KeyHasChildren = 1020;
inline constexpr DWORD ChildMustBeVolatile = 1021;
inline constexpr DWORD CircularDependency = 1059;
inline constexpr DWORD IoDevice = 1117;
inline constexpr DWORD InvalidServerState = 1352;
inline constexpr DWORD FileCorrupt = 1392;
inline constexpr DWORD Timeout = 1460;
inline constexpr DWORD ServerUnavailable = 1722;

// Cluster codes.
inline constexpr DWORD DependentResourceExists = 5001;
inline constexpr DWORD DependencyNotFound = 5002;
inline constexpr DWORD DependencyAlreadyExists = 5003;
inline constexpr DWORD ResourceNotOnline = 5004;
inline constexpr DWORD HostNodeNotAvailable = 5005;
inline constexpr DWORD ResourceNotAvailable = 5006;
inline constexpr DWORD ResourceNotFound = 5007;
inline constexpr DWORD ShutdownCluster = 5008;
inline constexpr DWORD CannotEvictActiveNode = 5009;
inline constexpr DWORD ObjectAlreadyExists = 5010;
inline constexpr DWORD ObjectInList = 5011;
inline constexpr DWORD GroupNotAvailable = 5012;
inline constexpr DWORD GroupNotFound = 5013;
inline constexpr DWORD GroupNotOnline = 5014;
inline constexpr DWORD HostNodeNotResourceOwner = 5015;
inline constexpr DWORD HostNodeNotGroupOwner = 5016;
inline constexpr DWORD ResourceCreateFailed = 5017;
inline constexpr DWORD ResourceOnlineFailed = 5018;
inline constexpr DWORD ResourceOnline = 5019;
inline constexpr DWORD QuorumResource = 5020;
inline constexpr DWORD NotQuorumCapable = 5021;
inline constexpr DWORD ClusterShuttingDown = 5022;
inline constexpr DWORD InvalidState = 5023;
inline constexpr DWORD ResourcePropertiesStored = 5024;
inline constexpr DWORD NotQuorumClass = 5025;
inline constexpr DWORD CoreResource = 5026;
inline constexpr DWORD QuorumResourceOnlineFailed = 5027;
inline constexpr DWORD QuorumLogOpenFailed = 5028;
inline constexpr DWORD ClusterLogCorrupt = 5029;
inline constexpr DWORD ResourceFailed = 5038;
inline constexpr DWORD ClusterNodeExists = 5040;
inline constexpr DWORD ClusterNodeNotFound = 5042;
inline constexpr DWORD ClusterNetworkExists = 5044;
inline constexpr DWORD ClusterNetworkNotFound = 5045;
inline constexpr DWORD ClusterNetInterfaceNotFound = 5047;
inline constexpr DWORD ClusterInvalidRequest = 5048;
inline constexpr DWORD ClusterNodeDown = 5050;
inline constexpr DWORD ClusterNodeUnreachable = 5051;
inline constexpr DWORD ClusterNodeNotMember = 5052;
inline constexpr DWORD ClusterInvalidNetwork = 5054;
inline constexpr DWORD ClusterNodeUp = 5056;
inline constexpr DWORD ClusterIpAddressInUse = 5057;
inline constexpr DWORD ClusterNodeNotPaused = 5058;
inline constexpr DWORD ClusterNodePaused = 5070;
inline constexpr DWORD NodeCannotHostResource = 5071;
inline constexpr DWORD ResourceTypeNotFound = 5078;

// This product's own: no code of the system has bit 29.

/// A change whose commit could not be confirmed: it may be there, whole, or not at all. Only looking tells.
inline constexpr DWORD OutcomeUnknown = 0x20000001;

}  // namespace platform::error
