#pragma once

// The throwaway local accounts that scripts/test-accounts.sh creates for the privilege
// tests: an administrator (member of "sudo") and an account outside sudoers.
namespace velmox::test {
inline constexpr const char* kAdminAccount = "velmox-test-admin";
inline constexpr const char* kPlainAccount = "velmox-test-user";
inline constexpr const char* kAccountPassword = "velmox-Test-Pa55";
} // namespace velmox::test
