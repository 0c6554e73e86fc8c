#include <httplib.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <fstream>
#include <memory>
#include <stdexcept>

#include "devkit/cloud/tls.h"

namespace devkit {

namespace {

template <class T, void (*Free)(T*)>
struct free_by {
  void operator()(T* value) const { Free(value); }
};
using key_ptr = std::unique_ptr<EVP_PKEY, free_by<EVP_PKEY, EVP_PKEY_free>>;
using certificate_ptr = std::unique_ptr<X509, free_by<X509, X509_free>>;

constexpr long a_day = 24 * 60 * 60;

[[noreturn]] void fail() {
  throw std::runtime_error("the certificate for https could not be made");
}

void add_extension(X509* certificate, int kind, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value);
  if (extension == nullptr) fail();
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

certificate_ptr self_signed(EVP_PKEY* key) {
  certificate_ptr certificate(X509_new());
  if (!certificate) fail();
  std::uint32_t serial = 0;
  if (RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) != 1) fail();
  X509_set_version(certificate.get(), 2);
  ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate.get()), serial);
  // From a day ago, so that a clock set back a little doesn't matter.
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -a_day);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 30 * a_day);
  X509_set_pubkey(certificate.get(), key);

  X509_NAME* const name = X509_get_subject_name(certificate.get());
  const auto* const text = reinterpret_cast<const unsigned char*>("development cloud");
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, text, -1, -1, 0);
  X509_set_issuer_name(certificate.get(), name);
  add_extension(certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
  add_extension(certificate.get(), NID_subject_alt_name, "IP:127.0.0.1,DNS:localhost");
  if (X509_sign(certificate.get(), key, EVP_sha256()) == 0) fail();
  return certificate;
}

void write_pem(X509* certificate, const std::filesystem::path& path) {
  const std::unique_ptr<BIO, int (*)(BIO*)> memory(BIO_new(BIO_s_mem()), BIO_free);
  if (!memory || PEM_write_bio_X509(memory.get(), certificate) != 1) fail();
  const char* text = nullptr;
  const long size = BIO_ctrl(memory.get(), BIO_CTRL_INFO, 0, &text);
  std::ofstream file(path, std::ios::binary);
  file.write(text, size);
  file.close();
  if (!file) throw std::runtime_error("the certificate could not be written to " + path.string());
}

}  // namespace

std::unique_ptr<httplib::Server> make_tls_server(const std::filesystem::path& certificate_file) {
  const key_ptr key(EVP_EC_gen("P-256"));
  if (!key) fail();
  const certificate_ptr certificate = self_signed(key.get());
  write_pem(certificate.get(), certificate_file);
  auto server = std::make_unique<httplib::SSLServer>(certificate.get(), key.get());
  if (!server->is_valid()) fail();
  return server;
}

}  // namespace devkit
