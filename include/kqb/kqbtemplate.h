// KqbTemplate: texts with named variables in them.
#pragma once

#include "kqb/kqbstring.h"

// Where the values of a template's variables come from. Implemented by the caller.
class KqbTemplateValueCB {
public:
    // Sets *value to the value of the variable of this name; one left null is empty. True when it
    // has one; else false, and *error tells why. Neither pointer is null. Must not throw.
    //
    // May use the template that asks. parse makes the expansion under way fail (message 1762), and
    // after release the template lives until that expansion has ended. expand asks anew for what
    // is not known yet, this very variable included.
    virtual bool getValue(KqbString const &name, KqbString *value, KqbString *error) = 0;

protected:
    ~KqbTemplateValueCB() = default;
};

// A text that is parsed once and expanded as often as wanted.
//
//   {name}   a variable, in brace form      {{  [[  }}  ]]   one literal { [ } ]
//   [name]   a variable, in bracket form    anything else    itself
//
// The two forms mean the same; getVariable tells them apart, for templates whose variables are of
// two kinds. A name ends at the first closing character of its own form and holds neither its own
// opening character nor white space (Unicode White_Space); the other form's characters are part of
// it. It must not be empty and stands only once in a template, whatever the form. A closing
// character that stands alone is an error.
//
// A value is asked for when the first expansion needs it, once per variable and parse; a variable
// for which there is no callback is empty. One for which the callback failed is asked for again by
// the next expansion.
//
// error may be null in every operation. It is set to null when the operation succeeds, else to a
// message of "Base Services":
//   444   memory ran out                     1759  the template ends too early
//   1420  no variable of this index          1760  a character that no name may hold
//   1666  a variable stands twice            1762  no such variable
//   1758  a closing character alone          1763  an empty name
//
// One template belongs to one thread at a time. Needs the pool (kqbInitialize).
class KQB_API KqbTemplate {
public:
    // The name of the index-th variable (from 0) in the order of the names by unsigned bytes, not
    // of their places. *bracketed (may be null) tells whether it stands in brackets. An empty
    // string, message 1420 and *bracketed as it was when there is none.
    virtual KqbString getVariable(int index, bool *bracketed, KqbString *error) = 0;

    // How many variables the template has.
    virtual int getVariableCount() = 0;

    // Ends the template; not to be used any more. The callback stays the caller's.
    virtual void release() = 0;

    // The text with the values in the variables' places, "" for an empty one. Null on failure; a
    // failure of the callback has the callback's text.
    virtual KqbString expand(KqbString *error) = 0;

    // Takes a text, which is copied, in place of the one before, whose variables and values are
    // forgotten. False when it is no template: then there is none. Takes time in proportion to the
    // text.
    virtual bool parse(KqbString const &text, KqbString *error) = 0;

protected:
    ~KqbTemplate() = default;
};

// A new template without a text, which release ends. callback may be null; else it must outlive the
// template. Null, with message 444, when memory ran out.
KQB_API KqbTemplate *kqbCreateBasicTemplate(KqbTemplateValueCB *callback, KqbString *error);
