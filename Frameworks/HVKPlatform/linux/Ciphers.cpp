// The ciphers of OpenSSL. The older ones live in its "legacy" provider, which is loaded into a library context of our
// own: in the default context it would change what the host's own use of the library finds.

#include "HVKPlatform/ports/Ciphers.h"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/provider.h>

#include <algorithm>
#include <array>

namespace hvk {

namespace {

/// What the library calls an algorithm and which keys it takes.
struct Algorithm {
    const char* chained;  ///< or the stream's name
    const char* alone;    ///< in ECB mode
    std::size_t shortestKey;
    std::size_t longestKey;
    std::size_t keyStep;  ///< between two lengths that exist
    bool stream = false;
};

/// The algorithms by number; AES has a name for each key length.
constexpr std::array<Algorithm, 7> Algorithms{{{"AES-128-CBC", "AES-128-ECB", 16, 32, 8},
                                               {"DES-CBC", "DES-ECB", 8, 8, 1},
                                               {"DES-EDE3-CBC", "DES-EDE3-ECB", 24, 24, 1},
                                               {"CAST5-CBC", "CAST5-ECB", 5, 16, 1},
                                               {"RC4", "RC4", 1, 512, 1, true},
                                               {"RC2-CBC", "RC2-ECB", 1, 128, 1},
                                               {"BF-CBC", "BF-ECB", 8, 56, 1}}};

const char* nameOf(std::uint32_t algorithm, bool chained, std::size_t keyLength) {
    if (algorithm == CipherAlgorithmAES && keyLength == 24) return chained ? "AES-192-CBC" : "AES-192-ECB";
    if (algorithm == CipherAlgorithmAES && keyLength == 32) return chained ? "AES-256-CBC" : "AES-256-ECB";
    return chained ? Algorithms[algorithm].chained : Algorithms[algorithm].alone;
}

/// The context with both providers; kept for the life of the process. Without the legacy provider the older ciphers
/// are not found, which is then their status.
OSSL_LIB_CTX* libraryContext() {
    static OSSL_LIB_CTX* const context = [] {
        OSSL_LIB_CTX* made = OSSL_LIB_CTX_new();
        if (made != nullptr) {
            OSSL_PROVIDER_load(made, "default");
            OSSL_PROVIDER_load(made, "legacy");
        }
        return made;
    }();
    return context;
}

struct FreeCipher {
    void operator()(EVP_CIPHER* cipher) const { EVP_CIPHER_free(cipher); }
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using CipherReference = std::unique_ptr<EVP_CIPHER, FreeCipher>;
using ContextReference = std::unique_ptr<EVP_CIPHER_CTX, FreeCipher>;

class LibraryCryptor : public Cryptor {
public:
    LibraryCryptor(ContextReference context, bool encrypts, bool pads)
        : context_(std::move(context)),
          encrypts_(encrypts),
          pads_(pads),
          block_(static_cast<std::size_t>(EVP_CIPHER_CTX_get_block_size(context_.get()))) {}

    std::size_t outputLength(std::size_t inputLength) const override {
        const std::size_t length = total_ % block_ + inputLength;
        return pads_ && encrypts_ ? (length / block_ + 1) * block_ : length;
    }

    std::int32_t update(std::span<const std::uint8_t> input, std::span<std::uint8_t> output,
                        std::size_t& moved) override {
        // The library counts in ints and, when padding, may hold a whole block back.
        constexpr std::size_t LongestPiece = std::size_t{1} << 30;
        moved = 0;
        if (output.size() < (total_ % block_ + input.size()) / block_ * block_) return CipherStatusBufferTooSmall;
        while (!input.empty()) {
            const auto piece = input.first(std::min(input.size(), LongestPiece));
            int written = 0;
            if (EVP_CipherUpdate(context_.get(), output.data() + moved, &written, piece.data(),
                                 static_cast<int>(piece.size())) != 1)
                return CipherStatusParameterError;
            moved += static_cast<std::size_t>(written);
            total_ += piece.size();
            input = input.subspan(piece.size());
        }
        return CipherStatusSuccess;
    }

    std::int32_t final(std::span<std::uint8_t> output, std::size_t& moved) override {
        moved = 0;
        const bool wholeBlocks = total_ % block_ == 0 && (total_ > 0 || encrypts_ || !pads_);
        if (!wholeBlocks && !(encrypts_ && pads_)) return CipherStatusAlignmentError;
        std::array<std::uint8_t, EVP_MAX_BLOCK_LENGTH> last{};
        int written = 0;
        if (EVP_CipherFinal_ex(context_.get(), last.data(), &written) != 1)
            return encrypts_ ? CipherStatusParameterError : CipherStatusDecodeError;
        if (output.size() < static_cast<std::size_t>(written)) return CipherStatusBufferTooSmall;
        std::copy_n(last.begin(), written, output.begin());
        moved = static_cast<std::size_t>(written);
        return CipherStatusSuccess;
    }

private:
    ContextReference context_;
    bool encrypts_;
    bool pads_;
    std::size_t block_;      ///< 1 for a stream
    std::size_t total_ = 0;  ///< bytes of input so far
};

/// Gives the context its key, of the given length, and its vector.
bool setKey(EVP_CIPHER_CTX* context, const EVP_CIPHER* cipher, std::uint32_t algorithm, bool encrypts,
            std::span<const std::uint8_t> key, const std::uint8_t* vector) {
    // The key's length is set between the two calls, before there is a key.
    if (EVP_CipherInit_ex2(context, cipher, nullptr, nullptr, encrypts ? 1 : 0, nullptr) != 1) return false;
    if (EVP_CIPHER_CTX_set_key_length(context, static_cast<int>(key.size())) != 1) return false;
    if (algorithm == CipherAlgorithmRC2) {
        std::size_t bits = key.size() * 8;
        const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_size_t(OSSL_CIPHER_PARAM_RC2_KEYBITS, &bits),
                                         OSSL_PARAM_construct_end()};
        if (EVP_CIPHER_CTX_set_params(context, parameters) != 1) return false;
    }
    return EVP_CipherInit_ex2(context, nullptr, key.data(), vector, encrypts ? 1 : 0, nullptr) == 1;
}

}  // namespace

std::unique_ptr<Cryptor> Cryptor::create(CipherOperation operation, std::uint32_t algorithm, std::uint32_t options,
                                         std::span<const std::uint8_t> key, std::span<const std::uint8_t> vector,
                                         std::int32_t& status) {
    const auto failed = [&status](CipherStatus reason) {
        status = reason;
        return nullptr;
    };
    if (algorithm >= Algorithms.size()) return failed(CipherStatusParameterError);
    const Algorithm& facts = Algorithms[algorithm];
    if (key.size() < facts.shortestKey || key.size() > facts.longestKey || key.size() % facts.keyStep != 0)
        return failed(CipherStatusKeySizeError);
    if (algorithm == CipherAlgorithmRC4) key = key.first(std::min<std::size_t>(key.size(), 256));  // it uses no more

    const bool chained = (options & CipherOptionECBMode) == 0;
    const CipherReference cipher(EVP_CIPHER_fetch(libraryContext(), nameOf(algorithm, chained, key.size()), nullptr));
    if (!cipher) return failed(CipherStatusUnimplemented);
    ContextReference context(EVP_CIPHER_CTX_new());
    if (!context) return failed(CipherStatusMemoryFailure);

    std::array<std::uint8_t, EVP_MAX_IV_LENGTH> firstBlock{};
    std::copy_n(vector.begin(), std::min(vector.size(), firstBlock.size()), firstBlock.begin());
    const bool encrypts = operation == CipherOperation::Encrypt;
    if (!setKey(context.get(), cipher.get(), algorithm, encrypts, key, firstBlock.data()))
        return failed(CipherStatusUnimplemented);
    const bool pads = !facts.stream && (options & CipherOptionPKCS7Padding) != 0;
    EVP_CIPHER_CTX_set_padding(context.get(), pads ? 1 : 0);
    status = CipherStatusSuccess;
    return std::make_unique<LibraryCryptor>(std::move(context), encrypts, pads);
}

}  // namespace hvk
