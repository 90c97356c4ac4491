#include "runtime/sharing/VulkanMemory.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <vector>

#define VK_NO_PROTOTYPES
#include <vulkan/vulkan.h>

#include "runtime/runner/RunningAtExit.h"
#include "runtime/sharing/SealedMemory.h"

namespace vuo {
namespace {

constexpr VkFormat format = VK_FORMAT_R8G8B8A8_UNORM;
constexpr VkImageUsageFlags usage =
    VK_IMAGE_USAGE_SAMPLED_BIT | VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT |
    VK_IMAGE_USAGE_TRANSFER_SRC_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT;
constexpr auto handle = VK_EXTERNAL_MEMORY_HANDLE_TYPE_OPAQUE_FD_BIT;

void require(VkResult result, const char* what) {
  if (result != VK_SUCCESS)
    throw std::runtime_error(std::string(what) + " (Vulkan's error " + std::to_string(result) +
                             ")");
}

}  // namespace

struct VulkanMemory::Calls {
  explicit Calls(const std::string& identity);

  template <class Function>
  Function instanceCall(const char* name) const {
    const auto call = reinterpret_cast<Function>(getInstanceProcAddr(instance, name));
    if (call == nullptr) throw std::runtime_error(std::string("Vulkan has no ") + name);
    return call;
  }
  template <class Function>
  void load(Function& call, const char* name) {
    call = reinterpret_cast<Function>(getDeviceProcAddr(device, name));
    if (call == nullptr) throw std::runtime_error(std::string("Vulkan has no ") + name);
  }
  void makeInstance();
  void findDevice(const std::string& identity);
  void askForPictures();
  void makeDevice();

  PFN_vkGetInstanceProcAddr getInstanceProcAddr = nullptr;
  VkInstance instance = nullptr;
  VkPhysicalDevice physicalDevice = nullptr;
  VkExtent3D largest{};
  bool onlyDedicated = false;
  std::uint32_t deviceLocalTypes = 0;  ///< bits
  VkDevice device = nullptr;
  PFN_vkGetDeviceProcAddr getDeviceProcAddr = nullptr;
  PFN_vkCreateImage createImage = nullptr;
  PFN_vkDestroyImage destroyImage = nullptr;
  PFN_vkGetImageMemoryRequirements2 getRequirements = nullptr;
  PFN_vkAllocateMemory allocateMemory = nullptr;
  PFN_vkFreeMemory freeMemory = nullptr;
  PFN_vkGetMemoryFdKHR getDescriptor = nullptr;
};

VulkanMemory::Calls::Calls(const std::string& identity) {
  void* const loader = dlopen("libvulkan.so.1", RTLD_NOW | RTLD_LOCAL);
  if (loader == nullptr) throw std::runtime_error("there is no Vulkan on this machine");
  getInstanceProcAddr =
      reinterpret_cast<PFN_vkGetInstanceProcAddr>(dlsym(loader, "vkGetInstanceProcAddr"));
  if (getInstanceProcAddr == nullptr) throw std::runtime_error("libvulkan.so.1 is not Vulkan");
  makeInstance();
  RunningAtExit::driverIsComplete();  // that all drivers are there; what follows is waited for
  findDevice(identity);
  askForPictures();
  makeDevice();
}

void VulkanMemory::Calls::makeInstance() {
  VkApplicationInfo application{};
  application.sType = VK_STRUCTURE_TYPE_APPLICATION_INFO;
  application.apiVersion = VK_API_VERSION_1_1;
  VkInstanceCreateInfo info{};
  info.sType = VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO;
  info.pApplicationInfo = &application;
  require(instanceCall<PFN_vkCreateInstance>("vkCreateInstance")(&info, nullptr, &instance),
          "Vulkan finds no driver");
}

/// The very device that OpenGL draws with, by the names that both give it and its driver.
void VulkanMemory::Calls::findDevice(const std::string& identity) {
  const auto enumerate = instanceCall<PFN_vkEnumeratePhysicalDevices>("vkEnumeratePhysicalDevices");
  const auto properties =
      instanceCall<PFN_vkGetPhysicalDeviceProperties2>("vkGetPhysicalDeviceProperties2");
  std::uint32_t count = 0;
  require(enumerate(instance, &count, nullptr), "Vulkan finds no device");
  std::vector<VkPhysicalDevice> devices(count);
  if (enumerate(instance, &count, devices.data()) < 0) count = 0;
  devices.resize(count);
  for (const VkPhysicalDevice candidate : devices) {
    VkPhysicalDeviceIDProperties id{};
    id.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_ID_PROPERTIES;
    VkPhysicalDeviceProperties2 all{};
    all.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_PROPERTIES_2;
    all.pNext = &id;
    properties(candidate, &all);
    const std::string name(reinterpret_cast<const char*>(id.deviceUUID), VK_UUID_SIZE);
    const std::string driver(reinterpret_cast<const char*>(id.driverUUID), VK_UUID_SIZE);
    if (all.properties.apiVersion >= VK_API_VERSION_1_1 && name + driver == identity) {
      physicalDevice = candidate;
      return;
    }
  }
  throw std::runtime_error("Vulkan does not have the device and driver that OpenGL draws with");
}

void VulkanMemory::Calls::askForPictures() {
  VkPhysicalDeviceExternalImageFormatInfo external{};
  external.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_EXTERNAL_IMAGE_FORMAT_INFO;
  external.handleType = handle;
  VkPhysicalDeviceImageFormatInfo2 picture{};
  picture.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_IMAGE_FORMAT_INFO_2;
  picture.pNext = &external;
  picture.format = format;
  picture.type = VK_IMAGE_TYPE_2D;
  picture.tiling = VK_IMAGE_TILING_OPTIMAL;
  picture.usage = usage;
  VkExternalImageFormatProperties exported{};
  exported.sType = VK_STRUCTURE_TYPE_EXTERNAL_IMAGE_FORMAT_PROPERTIES;
  VkImageFormatProperties2 properties{};
  properties.sType = VK_STRUCTURE_TYPE_IMAGE_FORMAT_PROPERTIES_2;
  properties.pNext = &exported;
  require(instanceCall<PFN_vkGetPhysicalDeviceImageFormatProperties2>(
              "vkGetPhysicalDeviceImageFormatProperties2")(physicalDevice, &picture, &properties),
          "Vulkan makes no pictures for other processes");
  const auto features = exported.externalMemoryProperties.externalMemoryFeatures;
  if ((features & VK_EXTERNAL_MEMORY_FEATURE_EXPORTABLE_BIT) == 0)
    throw std::runtime_error("Vulkan makes no pictures for other processes");
  onlyDedicated = (features & VK_EXTERNAL_MEMORY_FEATURE_DEDICATED_ONLY_BIT) != 0;
  largest = properties.imageFormatProperties.maxExtent;

  VkPhysicalDeviceMemoryProperties memory{};
  instanceCall<PFN_vkGetPhysicalDeviceMemoryProperties>("vkGetPhysicalDeviceMemoryProperties")(
      physicalDevice, &memory);
  for (std::uint32_t type = 0; type < memory.memoryTypeCount; ++type)
    if (memory.memoryTypes[type].propertyFlags & VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT)
      deviceLocalTypes |= 1u << type;
}

void VulkanMemory::Calls::makeDevice() {
  const float priority = 0;
  VkDeviceQueueCreateInfo queue{};  // none is used, and there is no device without one
  queue.sType = VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO;
  queue.queueCount = 1;
  queue.pQueuePriorities = &priority;
  const char* const extension = VK_KHR_EXTERNAL_MEMORY_FD_EXTENSION_NAME;
  VkDeviceCreateInfo info{};
  info.sType = VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO;
  info.queueCreateInfoCount = 1;
  info.pQueueCreateInfos = &queue;
  info.enabledExtensionCount = 1;
  info.ppEnabledExtensionNames = &extension;
  require(
      instanceCall<PFN_vkCreateDevice>("vkCreateDevice")(physicalDevice, &info, nullptr, &device),
      "Vulkan's device can't be used");
  getDeviceProcAddr = instanceCall<PFN_vkGetDeviceProcAddr>("vkGetDeviceProcAddr");
  load(createImage, "vkCreateImage");
  load(destroyImage, "vkDestroyImage");
  load(getRequirements, "vkGetImageMemoryRequirements2");
  load(allocateMemory, "vkAllocateMemory");
  load(freeMemory, "vkFreeMemory");
  load(getDescriptor, "vkGetMemoryFdKHR");
}

VulkanMemory::VulkanMemory(const std::string& identity) : _calls(new Calls(identity)) {}

namespace {

/// Gives up at the end of a scope what a call has made.
template <class Object, class Destroy>
struct Owned {
  VkDevice device;
  Destroy destroy;
  Object object = VK_NULL_HANDLE;
  ~Owned() {
    if (object != VK_NULL_HANDLE) destroy(device, object, nullptr);
  }
};

}  // namespace

/// What Vulkan made goes at once: the descriptor holds the memory, and only OpenGL works on it.
ImageMemory VulkanMemory::allocate(std::uint64_t width, std::uint64_t height) const {
  const Calls& vk = *_calls;
  if (width > vk.largest.width || height > vk.largest.height)
    throw std::runtime_error("Vulkan makes no pictures of that size");
  VkExternalMemoryImageCreateInfo external{};
  external.sType = VK_STRUCTURE_TYPE_EXTERNAL_MEMORY_IMAGE_CREATE_INFO;
  external.handleTypes = handle;
  VkImageCreateInfo info{};
  info.sType = VK_STRUCTURE_TYPE_IMAGE_CREATE_INFO;
  info.pNext = &external;
  info.imageType = VK_IMAGE_TYPE_2D;
  info.format = format;
  info.extent = {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), 1};
  info.mipLevels = 1;
  info.arrayLayers = 1;
  info.samples = VK_SAMPLE_COUNT_1_BIT;
  info.tiling = VK_IMAGE_TILING_OPTIMAL;
  info.usage = usage;
  Owned<VkImage, PFN_vkDestroyImage> image{vk.device, vk.destroyImage};
  require(vk.createImage(vk.device, &info, nullptr, &image.object), "No shared picture");

  VkMemoryDedicatedRequirements dedicated{};
  dedicated.sType = VK_STRUCTURE_TYPE_MEMORY_DEDICATED_REQUIREMENTS;
  VkMemoryRequirements2 requirements{};
  requirements.sType = VK_STRUCTURE_TYPE_MEMORY_REQUIREMENTS_2;
  requirements.pNext = &dedicated;
  VkImageMemoryRequirementsInfo2 asked{};
  asked.sType = VK_STRUCTURE_TYPE_IMAGE_MEMORY_REQUIREMENTS_INFO_2;
  asked.image = image.object;
  vk.getRequirements(vk.device, &asked, &requirements);
  const VkMemoryRequirements& needed = requirements.memoryRequirements;

  ImageMemory result;
  result.width = width;
  result.height = height;
  result.size = needed.size;
  result.isDedicated = vk.onlyDedicated || dedicated.requiresDedicatedAllocation == VK_TRUE;

  VkMemoryDedicatedAllocateInfo forImage{};
  forImage.sType = VK_STRUCTURE_TYPE_MEMORY_DEDICATED_ALLOCATE_INFO;
  forImage.image = image.object;
  VkExportMemoryAllocateInfo exporting{};
  exporting.sType = VK_STRUCTURE_TYPE_EXPORT_MEMORY_ALLOCATE_INFO;
  exporting.pNext = result.isDedicated ? &forImage : nullptr;
  exporting.handleTypes = handle;
  VkMemoryAllocateInfo allocation{};
  allocation.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO;
  allocation.pNext = &exporting;
  allocation.allocationSize = needed.size;
  const std::uint32_t preferred = needed.memoryTypeBits & vk.deviceLocalTypes;
  const std::uint32_t types = preferred != 0 ? preferred : needed.memoryTypeBits;
  allocation.memoryTypeIndex = static_cast<std::uint32_t>(__builtin_ctz(types));
  Owned<VkDeviceMemory, PFN_vkFreeMemory> memory{vk.device, vk.freeMemory};
  require(vk.allocateMemory(vk.device, &allocation, nullptr, &memory.object),
          "No memory for a shared picture");

  VkMemoryGetFdInfoKHR exported{};
  exported.sType = VK_STRUCTURE_TYPE_MEMORY_GET_FD_INFO_KHR;
  exported.memory = memory.object;
  exported.handleType = handle;
  int descriptor = -1;
  require(vk.getDescriptor(vk.device, &exported, &descriptor), "No descriptor of a shared picture");
  result.descriptor = platform::FileDescriptor(descriptor);
  result.head = headOf(result);
  return result;
}

}  // namespace vuo
