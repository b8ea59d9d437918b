// SPDX-License-Identifier: Apache-2.0
#include "platform/document/document_seal.h"

DocumentSeal::~DocumentSeal() = default;

UntrustedStepException::~UntrustedStepException() = default;
