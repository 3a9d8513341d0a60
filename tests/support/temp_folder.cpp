#include "tests/support/temp_folder.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

temp_folder::temp_folder()
{
  char name[] = "/tmp/rest_test_XXXXXX";
  if (!mkdtemp(name))
    abort();
  path = name;
}

temp_folder::~temp_folder()
{
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

std::string file_text(const std::string& path)
{
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

void file_write(const std::string& path, const std::string& text)
{
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << text;
}

void make_certificate(const std::string& path)
{
  std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"), EVP_PKEY_free);
  std::unique_ptr<X509, decltype(&X509_free)> cert(X509_new(), X509_free);
  X509_set_version(cert.get(), X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), 1);
  X509_gmtime_adj(X509_getm_notBefore(cert.get()), -3600);
  X509_gmtime_adj(X509_getm_notAfter(cert.get()), 24 * 3600);
  X509_NAME* name = X509_get_subject_name(cert.get());
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>("localhost"), -1, -1, 0);
  X509_set_issuer_name(cert.get(), name);
  X509_set_pubkey(cert.get(), key.get());
  X509_sign(cert.get(), key.get(), EVP_sha256());
  std::unique_ptr<FILE, decltype(&fclose)> file(fopen(path.c_str(), "we"), fclose);
  ASSERT_TRUE(file);
  ASSERT_TRUE(PEM_write_X509(file.get(), cert.get()));
  ASSERT_TRUE(PEM_write_PrivateKey(file.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr));
}
