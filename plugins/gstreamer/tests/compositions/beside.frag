#version 330 core

in vec2 uv;
out vec4 pixel;

uniform sampler2D image;
uniform sampler2D other;
uniform float border;

void main() {
  pixel = uv.x < border ? texture(image, uv) : texture(other, uv);
}
