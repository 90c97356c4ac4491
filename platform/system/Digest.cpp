#include "platform/system/Digest.h"

#include <glib.h>

namespace platform {

std::array<std::uint8_t, 16> md5(std::string_view text) {
  std::array<std::uint8_t, 16> digest{};
  gsize length = digest.size();
  GChecksum* checksum = g_checksum_new(G_CHECKSUM_MD5);
  g_checksum_update(checksum, reinterpret_cast<const guchar*>(text.data()),
                    static_cast<gssize>(text.size()));
  g_checksum_get_digest(checksum, digest.data(), &length);
  g_checksum_free(checksum);
  return digest;
}

std::string md5Digits(std::string_view text) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string digits;
  for (const std::uint8_t byte : md5(text)) (digits += kDigits[byte >> 4]) += kDigits[byte & 15];
  return digits;
}

}  // namespace platform
