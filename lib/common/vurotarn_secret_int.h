/* vurotarn_secret_int.h - tokens and session ids this process handed to a
 * statement, so that a trace printing the statement shortens them: a failed
 * write must not put a peer's credential whole into the log. */
#ifndef VUROTARN_SECRET_INT_H
#define VUROTARN_SECRET_INT_H

#include <string>

/* Remembers a secret (empty and short texts are ignored). */
void vurotarnSecretNote(const std::string& strSecret);
/* The text with each remembered secret cut to its first four characters
 * and its length, as the tool shows tokens. */
std::string vurotarnSecretsShortened(const std::string& strText);

#endif
