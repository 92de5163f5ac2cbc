// The maker's schema host: the prefix of the package's namespace and relationship-type URIs.
#pragma once

/// Every namespace URI and relationship type the package format defines starts with this host.
#define KZF_SCHEMA_HOST "http://schemas.quorlith.com"
